#pragma once

#include <QString>
#include <QWidget>

class QLabel;
class QVBoxLayout;
class SettingsModel;
class SettingsPage;

// A titled box of read-only information rows, for the About and Updates pages: each row has
// its title in a 170-point column in the body font and its value after it in the secondary
// style. Unlike setting rows these are not searchable; they stay as they are under a filter.
class InfoSection final : public QWidget {
    Q_OBJECT
public:
    static constexpr int titleColumnWidth = 170;

    // The smaller type styles of these pages, from a widget's own font.
    static QFont captionFont(const QFont &base);         // the line under a title
    static QFont smallestCaptionFont(const QFont &base); // the smallest notes

    explicit InfoSection(const QString &title, QWidget *parent = nullptr);

    // A row whose value is plain text; returns the value label.
    QLabel *addRow(const QString &title, const QString &value, const QString &valueName);
    // A row whose value is a widget of its own.
    void addRow(const QString &title, QWidget *value);
    void addWidget(QWidget *widget);

    QLabel *titleLabel() const { return m_title; }

private:
    QLabel *m_title;
    QVBoxLayout *m_layout;
};

// The About page: the logo, the name, the version and the tag line, where the configuration
// and data live, and the project links (labels only: no address is configured for them).
//
// Widgets are named "appLogo", "appTitle", "version", "tagline", "configPath", "dataPath",
// "sourceCodeLink", "documentationLink".
class AboutView final : public QWidget {
    Q_OBJECT
public:
    static QString defaultLogoResource() { return QStringLiteral(":/AppLogo"); }
    // What the About page shows when the application has no version of its own.
    static QString fallbackVersion() { return QStringLiteral("0.1.0"); }
    static constexpr int logoSide = 72;
    static constexpr int symbolPixelSize = 56;

    // `logoResource` is the image shown as the logo; when it cannot be loaded, the "cat.fill"
    // symbol stands in, inside the same 72-point frame.
    explicit AboutView(SettingsModel *model, const QString &logoResource = defaultLogoResource(),
                       QWidget *parent = nullptr);

    // QCoreApplication::applicationVersion(), or fallbackVersion() when it is empty.
    static QString versionText();

    SettingsPage *page() const { return m_page; }
    QLabel *logo() const { return m_logo; }

private:
    SettingsPage *m_page;
    QLabel *m_logo;
};
