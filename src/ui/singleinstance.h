#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>

#include <functional>

// One settings process per configuration file on the session bus. The first process for a
// file owns a well-known name derived from the file's absolute path and serves an object with
// an Activate(token) method; a second launch for the same file calls Activate, which shows and
// raises the running window, and exits. Without a session bus every launch opens its own
// window.
//
//   name       com.tesselmo.varnook.settings.i<first 16 hex digits of SHA-256 of the path>
//   path       /com/tesselmo/varnook/settings
//   interface  com.tesselmo.varnook.settings.Instance
//   methods    Activate(s token)   token: the launcher's XDG_ACTIVATION_TOKEN, may be empty
//   properties Visible (b)         whether the window is on screen
//              Activations (u)     how many times the window was brought back
class SingleInstance final : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.tesselmo.varnook.settings.Instance")
    Q_PROPERTY(bool Visible READ isWindowVisible)
    Q_PROPERTY(uint Activations READ activations)

public:
    enum class Role {
        Primary,   // this process owns the name and serves Activate
        Secondary, // another process serves this file
        NoBus,     // no session bus: nobody to ask, nothing to serve
    };

    static QString serviceName(const QString &configPath);
    static QString objectPath() { return QStringLiteral("/com/tesselmo/varnook/settings"); }
    static QString interfaceName()
    {
        return QStringLiteral("com.tesselmo.varnook.settings.Instance");
    }

    explicit SingleInstance(const QString &configPath,
                            QDBusConnection connection = QDBusConnection::sessionBus(),
                            QObject *parent = nullptr);
    ~SingleInstance() override;

    // Tries to own the name for the file.
    Role claim();
    // As a secondary: asks the owner to show its window. False when nobody answered (the
    // owner may have just quit; claim() again then).
    bool activateRunning(const QString &activationToken);

    // What Visible reports.
    void setVisibilitySource(std::function<bool()> visible) { m_visible = std::move(visible); }
    bool isWindowVisible() const { return m_visible && m_visible(); }
    uint activations() const { return m_activations; }

public Q_SLOTS:
    Q_SCRIPTABLE void Activate(const QString &token);

Q_SIGNALS:
    void activationRequested(const QString &token);

private:
    QString m_service;
    QDBusConnection m_connection;
    bool m_owned = false;
    uint m_activations = 0;
    std::function<bool()> m_visible;
};
