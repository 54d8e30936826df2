#pragma once

#include <QHashFunctions>
#include <QList>
#include <QString>

// The fixed settings pages, in sidebar order.
enum class SectionID { Model, Telegram, App, Skills, Registry, About, Updates };

QList<SectionID> allSections();
QString sectionRawValue(SectionID section);
QString sectionTitle(SectionID section);
QString sectionIcon(SectionID section); // symbol name, mapped to a theme icon by the window
std::optional<SectionID> sectionFromRawValue(const QString &raw);

// One sidebar row: a bot by index, or a defaults page.
struct SidebarItem {
    enum class Kind { Bot, Defaults };
    Kind kind = Kind::Defaults;
    int bot = 0;
    SectionID section = SectionID::Model;

    static SidebarItem botAt(int index) { return {Kind::Bot, index, SectionID::Model}; }
    static SidebarItem defaults(SectionID s) { return {Kind::Defaults, 0, s}; }
    bool isBot() const { return kind == Kind::Bot; }

    bool operator==(const SidebarItem &o) const
    {
        return kind == o.kind && (kind == Kind::Bot ? bot == o.bot : section == o.section);
    }
};

inline size_t qHash(const SidebarItem &item, size_t seed = 0)
{
    return item.kind == SidebarItem::Kind::Bot ? qHashMulti(seed, 0, item.bot)
                                               : qHashMulti(seed, 1, int(item.section));
}

enum class ColumnVisibility { All, DetailOnly };
