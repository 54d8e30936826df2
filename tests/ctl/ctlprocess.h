#pragma once

// Runs the varnookctl executable the way a user's shell does, while the test's own event loop
// keeps serving the loopback servers and the bus.

#include <QByteArray>
#include <QEventLoop>
#include <QList>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTimer>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <optional>

struct CtlResult {
    bool finished = false;
    int exitCode = -1;
    QByteArray out;
    QByteArray err;

    QString output() const { return QString::fromUtf8(out); }
    QStringList outputLines() const
    {
        QStringList lines = output().split(u'\n');
        if (!lines.isEmpty() && lines.constLast().isEmpty())
            lines.removeLast();
        return lines;
    }
    QString error() const { return QString::fromUtf8(err); }
    // A refusal or failure is reported as exactly one line on stderr, "varnookctl: …".
    bool oneErrorLine() const
    {
        return err.startsWith("varnookctl: ") && err.endsWith('\n') && err.count('\n') == 1;
    }
};

class CtlProcess final {
public:
    static QString binary() { return QStringLiteral(VARNOOK_BINARY_DIR "/src/varnookctl"); }

    CtlProcess()
        : m_environment(QProcessEnvironment::systemEnvironment())
    {}

    QProcessEnvironment &environment() { return m_environment; }
    void setConfig(const QString &path) { m_config = path; }
    void setWorkingDirectory(const QString &path) { m_workingDirectory = path; }
    // The largest file the process may write, in bytes; a write beyond it fails (EFBIG) instead
    // of ending the process. Nothing: the limit the test runs under.
    void setFileSizeLimit(std::optional<rlim_t> bytes) { m_fileSizeLimit = bytes; }
    // Runs the program as the user "nobody" when the test runs as root, so that permissions
    // apply to it.
    void setRunAsNobody(bool on) { m_asNobody = on; }

    // varnookctl --config <config> <arguments…>
    CtlResult run(const QStringList &arguments, int timeoutMs = 60000)
    {
        return runRaw(QStringList{QStringLiteral("--config"), m_config} + arguments, timeoutMs);
    }

    // varnookctl <arguments…>, nothing added.
    CtlResult runRaw(const QStringList &arguments, int timeoutMs = 60000)
    {
        CtlResult result;
        QProcess process;
        process.setProcessEnvironment(m_environment);
        if (!m_workingDirectory.isEmpty())
            process.setWorkingDirectory(m_workingDirectory);
        if (m_fileSizeLimit || m_asNobody) {
            // Runs in the child between fork and exec: only async-signal-safe calls.
            process.setChildProcessModifier([limit = m_fileSizeLimit, nobody = m_asNobody] {
                if (limit) {
                    std::signal(SIGXFSZ, SIG_IGN);
                    const rlimit fileSize{*limit, *limit};
                    setrlimit(RLIMIT_FSIZE, &fileSize);
                }
                if (nobody && ::getuid() == 0) {
                    [[maybe_unused]] const int group = ::setgid(65534);
                    [[maybe_unused]] const int user = ::setuid(65534);
                }
            });
        }
        QEventLoop loop;
        QObject::connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        QObject::connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
        QTimer::singleShot(timeoutMs, &loop, &QEventLoop::quit);
        process.start(binary(), arguments);
        loop.exec();
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.finished = process.error() != QProcess::FailedToStart
                          && process.exitStatus() == QProcess::NormalExit;
        result.exitCode = process.exitCode();
        result.out = process.readAllStandardOutput();
        result.err = process.readAllStandardError();
        return result;
    }

private:
    QProcessEnvironment m_environment;
    QString m_config;
    QString m_workingDirectory;
    std::optional<rlim_t> m_fileSizeLimit;
    bool m_asNobody = false;
};
