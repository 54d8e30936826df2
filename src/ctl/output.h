#pragma once

#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <QTextStream>

// Exit codes of varnookctl. Scripts branch on them, so they never change meaning.
namespace ExitCode {
inline constexpr int ok = 0;
// The request was fine but did not work out: the service did not reach the wanted state, the
// provider did not answer, a download or a write failed.
inline constexpr int failed = 1;
// The request itself was refused: unknown command, key or option, a value of the wrong kind,
// a number out of range, an unreadable or malformed configuration file. Nothing was written.
inline constexpr int badInput = 2;
} // namespace ExitCode

// Everything varnookctl prints. Results go to standard output, as text for people or as JSON
// for scripts; problems go to standard error as one line that begins with "varnookctl: ".
class Output final {
public:
    Output();

    bool json() const { return m_json; }
    void setJson(bool on) { m_json = on; }

    void line(const QString &text = {});
    void print(const QString &text); // as it stands, no line break added
    void json(const QJsonObject &object);
    void json(const QJsonArray &array);

    // Prints the one-line message to standard error and returns `code`, so that a command can
    // end with `return out.fail(ExitCode::badInput, …)`.
    int fail(int code, const QString &message);
    // A warning that does not end the command; same form as fail.
    void warn(const QString &message);

    // Texts from configuration files and servers are shown as they are, but a control character
    // could move the cursor or rewrite the screen; these become U+FFFD. Tabs stay, and line
    // breaks stay when asked for (a whole value printed on its own).
    static QString plain(const QString &text, bool keepLineBreaks = false);

private:
    QTextStream m_out;
    QTextStream m_err;
    bool m_json = false;
};
