#include "ctl/command.h"

#include "config/settingsmodel.h"

using namespace Qt::Literals::StringLiterals;

namespace {

const QString showSecretsName = u"show-secrets"_s;

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
