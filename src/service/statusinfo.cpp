#include "service/statusinfo.h"

#include "config/configdocument.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <algorithm>

using namespace Qt::Literals::StringLiterals;

namespace {

// An array counts only when every element is an integer: a list with a stray element is a
// mistyped value like any other, and a half-kept list would shift the per-bot positions.
std::optional<QList<qint64>> integerArray(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    const QJsonArray array = value.toArray();
    QList<qint64> numbers;
    numbers.reserve(array.size());
    for (const QJsonValue &element : array) {
        const std::optional<qint64> n = ConfigDocument::jsonInteger(element);
        if (!n)
            return std::nullopt;
        numbers.append(*n);
    }
    return numbers;
}

std::optional<QList<QList<qint64>>> integerArrays(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    const QJsonArray array = value.toArray();
    QList<QList<qint64>> lists;
    lists.reserve(array.size());
    for (const QJsonValue &element : array) {
        std::optional<QList<qint64>> inner = integerArray(element);
        if (!inner)
            return std::nullopt;
        lists.append(std::move(*inner));
    }
    return lists;
}

QString text(const QJsonValue &value)
{
    return value.isString() ? value.toString() : QString();
}

qint64 integer(const QJsonValue &value)
{
    return ConfigDocument::jsonInteger(value).value_or(0);
}

QJsonArray integersJson(const QList<qint64> &numbers)
{
    QJsonArray array;
    for (const qint64 n : numbers)
        array.append(n);
    return array;
}

} // namespace

QString statusFilePath(const QString &configPath)
{
    return QFileInfo(configPath).path() + u'/' + statusFileName;
}

std::optional<StatusInfo> parseStatus(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();

    // Each key on its own: a wrong type costs only its own field.
    StatusInfo status;
    const QJsonValue running = object.value("bot_running"_L1);
    status.botRunning = running.isBool() && running.toBool();
    status.pid = integer(object.value("pid"_L1));
    status.botHandle = text(object.value("bot_handle"_L1));
    status.botNicknames
        = ConfigDocument::stringArray(object.value("bot_nicknames"_L1)).value_or(QStringList());
    status.requests = integer(object.value("requests"_L1));
    status.requestsByBot
        = integerArray(object.value("requests_by_bot"_L1)).value_or(QList<qint64>());
    status.tokensIn = integer(object.value("tokens_in"_L1));
    status.tokensOut = integer(object.value("tokens_out"_L1));
    status.tokensByBot
        = integerArrays(object.value("tokens_by_bot"_L1)).value_or(QList<QList<qint64>>());
    status.provider = text(object.value("base_url"_L1)).trimmed();
    status.model = text(object.value("model"_L1));
    status.fallbacks = integer(object.value("fallbacks"_L1));
    return status;
}

std::optional<StatusInfo> readStatusFile(const QString &path)
{
    // Only a regular file: opening a FIFO would block the window until someone writes to it,
    // and a device such as /dev/zero never ends.
    const QFileInfo info(path);
    if (!info.isFile() || info.size() > statusFileSizeLimit)
        return std::nullopt;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    // One whole read: a file caught half-written does not parse and is skipped until the
    // next read. Reading no more than one byte past the size seen keeps a file that is
    // being appended to from being read without end; what was cut off that way does not
    // parse either.
    const QByteArray bytes = file.read(info.size() + 1);
    if (file.error() != QFileDevice::NoError || bytes.size() > statusFileSizeLimit)
        return std::nullopt;
    return parseStatus(bytes);
}

QJsonObject statusRecord(const StatusInfo &status)
{
    QJsonArray tokensByBot;
    for (const QList<qint64> &counts : status.tokensByBot)
        tokensByBot.append(integersJson(counts));
    return QJsonObject{
        {"bot_running"_L1, status.botRunning},
        {"pid"_L1, status.pid},
        {"bot_handle"_L1, status.botHandle},
        {"bot_nicknames"_L1, QJsonArray::fromStringList(status.botNicknames)},
        {"requests"_L1, status.requests},
        {"requests_by_bot"_L1, integersJson(status.requestsByBot)},
        {"tokens_in"_L1, status.tokensIn},
        {"tokens_out"_L1, status.tokensOut},
        {"tokens_by_bot"_L1, tokensByBot},
        {"base_url"_L1, status.provider},
        {"model"_L1, status.model},
        {"fallbacks"_L1, status.fallbacks},
    };
}

QByteArray serialiseStatus(const StatusInfo &status)
{
    return QJsonDocument(statusRecord(status)).toJson(QJsonDocument::Indented);
}

bool controlReached(const QString &action, const StatusInfo &status, qint64 pidBefore)
{
    if (action == "start"_L1)
        return status.botRunning;
    if (action == "stop"_L1)
        return !status.botRunning;
    // A restart, or an action this program does not know. A service found down has not got
    // there yet; one found up needs a known pid other than the one before the request. A
    // service that went down and came back under the same pid has not visibly restarted.
    return status.botRunning && status.pid != 0 && status.pid != pidBefore;
}

QString formatCount(qint64 n)
{
    // The thresholds are taken on the integer, so 999999 prints as "1000.0K", not "1.0M".
    if (n < 1000)
        return QString::number(n);
    if (n < 1000000)
        return QString::asprintf("%.1fK", double(n) / 1000.0);
    return QString::asprintf("%.1fM", double(n) / 1000000.0);
}

QString runningLabel(const StatusInfo &status)
{
    // The comma-list rule (split at ",", trim blanks and tabs, drop empty pieces), read in
    // place: only the first two handles are shown and the others only counted, so that a
    // service running many thousands of bots costs one pass over the text and nothing more.
    const QStringView handles(status.botHandle);
    QStringList labels;
    qsizetype count = 0;
    qsizetype start = 0;
    while (start <= handles.size()) {
        qsizetype end = handles.indexOf(u',', start);
        if (end < 0)
            end = handles.size();
        qsizetype first = start;
        qsizetype last = end;
        while (first < last && (handles.at(first) == u' ' || handles.at(first) == u'\t'))
            ++first;
        while (last > first && (handles.at(last - 1) == u' ' || handles.at(last - 1) == u'\t'))
            --last;
        if (first < last) {
            if (count < 2) {
                const QString nickname = status.botNicknames.value(count);
                labels.append(nickname.isEmpty()
                                  ? u'@' + handles.sliced(first, last - first).toString()
                                  : nickname);
            }
            ++count;
        }
        start = end + 1;
    }
    QString label = labels.join(u", "_s);
    if (count > 2)
        label += u" ... +"_s + QString::number(count - 2) + u" more"_s;
    return label;
}

QString tokensLabel(const StatusInfo &status)
{
    return formatCount(status.tokensIn) + u" in · "_s + formatCount(status.tokensOut) + u" out"_s;
}

QString requestsByBotLabel(const StatusInfo &status)
{
    return requestsByBotLabel(status, status.requestsByBot.size());
}

QString requestsByBotLabel(const StatusInfo &status, qsizetype shownBots)
{
    const qsizetype shown = std::clamp(shownBots, qsizetype(0), status.requestsByBot.size());
    QStringList entries;
    entries.reserve(shown);
    for (qsizetype i = 0; i < shown; ++i) {
        const QString nickname = status.botNicknames.value(i);
        const QString name = nickname.isEmpty() ? u"bot "_s + QString::number(i + 1) : nickname;
        entries.append(name + u": "_s + QString::number(status.requestsByBot.at(i)));
    }
    QString label = entries.join(u" · "_s);
    if (shown < status.requestsByBot.size())
        label += u" ... +"_s + QString::number(status.requestsByBot.size() - shown) + u" more"_s;
    return label;
}

QString statusLineText(const StatusInfo &status)
{
    if (!status.botRunning)
        return u"Stopped"_s;
    const QString label = runningLabel(status);
    return label.isEmpty() ? u"Running"_s : u"Running as "_s + label;
}

QString primaryProviderText(const StatusInfo &status)
{
    return status.provider.isEmpty() ? u"not configured"_s : status.provider;
}

QString backupModelsText(const StatusInfo &status)
{
    return QString::number(status.fallbacks) + u" configured"_s;
}

QString requestsText(const StatusInfo &status)
{
    return QString::number(status.requests);
}

QString tokensUsedText(const StatusInfo &status)
{
    // The counts come from another program and may be anything; the sum must not overflow.
    qint64 total = 0;
    const bool overflow = qAddOverflow(status.tokensIn, status.tokensOut, &total);
    const bool none = overflow ? status.tokensIn < 0 : total < 1;
    return none ? u"—"_s : tokensLabel(status);
}
