#include "config/sidebaritem.h"

QList<SectionID> allSections()
{
    return {SectionID::Model,    SectionID::Telegram, SectionID::App,    SectionID::Skills,
            SectionID::Registry, SectionID::About,    SectionID::Updates};
}

QString sectionRawValue(SectionID section)
{
    switch (section) {
    case SectionID::Model: return QStringLiteral("model");
    case SectionID::Telegram: return QStringLiteral("telegram");
    case SectionID::App: return QStringLiteral("app");
    case SectionID::Skills: return QStringLiteral("skills");
    case SectionID::Registry: return QStringLiteral("registry");
    case SectionID::About: return QStringLiteral("about");
    case SectionID::Updates: return QStringLiteral("updates");
    }
    return {};
}

QString sectionTitle(SectionID section)
{
    switch (section) {
    case SectionID::Model: return QStringLiteral("Model");
    case SectionID::Telegram: return QStringLiteral("Telegram");
    case SectionID::App: return QStringLiteral("App");
    case SectionID::Skills: return QStringLiteral("Skills & Features");
    case SectionID::Registry: return QStringLiteral("Skill Registry");
    case SectionID::About: return QStringLiteral("About");
    case SectionID::Updates: return QStringLiteral("Updates");
    }
    return {};
}

QString sectionIcon(SectionID section)
{
    switch (section) {
    case SectionID::Model: return QStringLiteral("cpu");
    case SectionID::Telegram: return QStringLiteral("paperplane");
    case SectionID::App: return QStringLiteral("switch.2");
    case SectionID::Skills: return QStringLiteral("puzzlepiece");
    case SectionID::Registry: return QStringLiteral("shippingbox");
    case SectionID::About: return QStringLiteral("info.circle");
    case SectionID::Updates: return QStringLiteral("arrow.down.circle");
    }
    return {};
}

std::optional<SectionID> sectionFromRawValue(const QString &raw)
{
    for (SectionID s : allSections()) {
        if (sectionRawValue(s) == raw)
            return s;
    }
    return std::nullopt;
}
