#include "ctl/command.h"

#include "model/settingsmodel.h"

#include <QFile>

#include <termios.h>
#include <unistd.h>

#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

const QString showSecretsName = u"show-secrets"_s;

// Keeps what is typed at a terminal off the screen while it is read.
class EchoOff final {
public:
    EchoOff()
    {
        if (!isatty(STDIN_FILENO) || tcgetattr(STDIN_FILENO, &m_saved) != 0)
            return;
        termios quiet = m_saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        m_active = tcsetattr(STDIN_FILENO, TCSAFLUSH, &quiet) == 0;
    }
    ~EchoOff()
    {
        if (!m_active)
            return;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &m_saved);
        std::fputc('\n', stderr); // the line break the user typed was not shown
    }
    EchoOff(const EchoOff &) = delete;
    EchoOff &operator=(const EchoOff &) = delete;
    bool active() const { return m_active; }

private:
    termios m_saved{};
    bool m_active = false;
};

// One line of standard input without its line break (LF or CR LF), or the reason it cannot be
// had. Reads no more than the limit and one line break, whatever is piped in.
std::optional<QByteArray> readValueLine(qint64 limit, QString &problem)
{
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) {
        problem = u"cannot read standard input: "_s + in.errorString();
        return std::nullopt;
    }
    const EchoOff echo;
    if (echo.active())
        std::fputs("Value (not shown): ", stderr);
    // One byte past the limit for the line feed, one more for a carriage return before it.
    QByteArray line = in.readLine(limit + 3);
    if (in.error() != QFileDevice::NoError) {
        problem = u"cannot read standard input: "_s + in.errorString();
        return std::nullopt;
    }
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    if (line.size() > limit) {
        problem = u"the value on standard input is longer than "_s + QString::number(limit / 1024)
                  + u" KiB"_s;
        return std::nullopt;
    }
    return line;
}

} // namespace

QCommandLineOption showSecretsOption(const QString &description)
{
    return QCommandLineOption(showSecretsName, description);
}

CommandContext::CommandContext(Session &session, QStringList arguments,
                               const QCommandLineParser &parser,
                               std::function<QString(const QString &)> unescape)
    : m_session(session)
    , m_arguments(std::move(arguments))
    , m_parser(parser)
    , m_unescape(std::move(unescape))
{}

std::optional<QString> CommandContext::givenValue(const QString &text)
{
    if (text != u"-")
        return text;
    if (m_stdinTaken) {
        out().fail(ExitCode::badInput, u"only one value can be read from standard input (-)"_s);
        return std::nullopt;
    }
    m_stdinTaken = true;
    QString problem;
    const std::optional<QByteArray> line = readValueLine(stdinValueLimit, problem);
    if (!line) {
        out().fail(ExitCode::badInput, problem);
        return std::nullopt;
    }
    return QString::fromUtf8(*line);
}

int CommandContext::prepareWrite()
{
    if (const std::optional<QString> problem = m_session.writeProblem())
        return out().fail(ExitCode::failed, *problem);
    return ExitCode::ok;
}

std::optional<int> CommandContext::index(const QString &text, qsizetype count, const QString &what,
                                         const QString &suffix)
{
    QString range = u"choose 1 to "_s + QString::number(count);
    if (count == 0)
        range = u"there are none"_s;
    else if (count == 1)
        range = u"there is only "_s + what + u" 1"_s;
    bool ok = false;
    const int number = text.toInt(&ok);
    if (!ok || number < 1 || number > count) {
        out().fail(ExitCode::badInput, u"there is no "_s + what + u" "_s + Output::plain(text)
                                           + suffix + u" ("_s + range + u")"_s);
        return std::nullopt;
    }
    return number - 1;
}

std::optional<int> CommandContext::botIndex(const QString &text)
{
    return index(text, model().botTokens().size(), u"bot"_s);
}

std::optional<int> CommandContext::backupIndex(const QString &text)
{
    return index(text, model().fallbacks().size(), u"backup model"_s);
}

bool CommandContext::showSecrets() const
{
    return isSet(showSecretsName);
}
