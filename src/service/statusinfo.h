#pragma once

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// What the bot service reports in varnook-status.json.
struct StatusInfo {
    bool botRunning = false;
    qint64 pid = 0;
    QString botHandle;
    QStringList botNicknames;
    qint64 requests = 0;
    QList<qint64> requestsByBot;
    qint64 tokensIn = 0;
    qint64 tokensOut = 0;
    QList<QList<qint64>> tokensByBot;
    QString provider;
    QString model;
    qint64 fallbacks = 0;

    bool operator==(const StatusInfo &) const = default;
};

// The file name the bot service writes its status under, beside the configuration file.
inline constexpr QLatin1StringView statusFileName{"varnook-status.json"};

// A status file is a few hundred bytes; anything beyond this is not one and is not read, like
// an unreadable file: the status read before stays.
inline constexpr qint64 statusFileSizeLimit = 1024 * 1024;

// The status file that lies beside the configuration file.
QString statusFilePath(const QString &configPath);
// Parses the bytes of a status file; nothing when they are not a JSON object.
std::optional<StatusInfo> parseStatus(const QByteArray &bytes);
// Reads and parses the status file at `path`; nothing when it is missing, not a regular file,
// unreadable, too large or not a JSON object.
std::optional<StatusInfo> readStatusFile(const QString &path);
// The record under the status file's own key names, every key present.
QJsonObject statusRecord(const StatusInfo &status);
// The record as the bot service writes it: statusRecord as an indented JSON document.
QByteArray serialiseStatus(const StatusInfo &status);

// Whether the bot service has got where a start, stop or restart request wanted it, judged from
// the status read after the request. `pidBefore` is the pid known before the request: a
// restart (or an action this program does not know) is done once the service runs under a
// known pid other than that one.
bool controlReached(const QString &action, const StatusInfo &status, qint64 pidBefore);

QString formatCount(qint64 n);
QString runningLabel(const StatusInfo &status);
QString tokensLabel(const StatusInfo &status);
QString requestsByBotLabel(const StatusInfo &status);
// The same for the first `shownBots` bots at most, followed by " ... +N more" for the others:
// the Model page shows this, so that a service with thousands of bots gives it one short line.
QString requestsByBotLabel(const StatusInfo &status, qsizetype shownBots);

// Texts of the status rows of the Model page.
QString statusLineText(const StatusInfo &status);      // "Stopped", "Running", "Running as …"
QString primaryProviderText(const StatusInfo &status); // provider or "not configured"
QString backupModelsText(const StatusInfo &status);    // "N configured"
QString requestsText(const StatusInfo &status);
QString tokensUsedText(const StatusInfo &status); // "—" or tokensLabel
