#include "ui/commandline.h"
#include "support/testsupport.h"

#include <QDir>
#include <QDirIterator>
#include <QEventLoop>
#include <QProcess>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

using namespace Qt::Literals::StringLiterals;

namespace {

struct Run {
    bool finished = false;
    int exitCode = -1;
    QString out;
    QString err;
};

QString settingsBinary()
{
    return QStringLiteral(VARNOOK_BINARY_DIR "/src/varnook-settings");
}

QString ctlBinary()
{
    return QStringLiteral(VARNOOK_BINARY_DIR "/src/varnookctl");
}

// Every file and folder under `root`, relative to it.
QStringList filesUnder(const QString &root)
{
    QStringList files;
    QDirIterator it(root, QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                    QDirIterator::Subdirectories);
    while (it.hasNext())
        files.append(QDir(root).relativeFilePath(it.next()));
    files.sort();
    return files;
}

} // namespace

// The command line of both programs, run as a user's shell runs them: the real executables,
// in a working folder and a home folder of their own, without a display.
class TestCommandLine final : public QObject {
    Q_OBJECT

    QTemporaryDir m_home;
    QTemporaryDir m_work;

    // Runs `binary` with `arguments`. Without a display and without QT_QPA_PLATFORM, so that a
    // program that tried to open its window could not: it would end in Qt's "could not
    // connect to display" abort instead of an answer.
    Run run(const QString &binary, const QStringList &arguments,
            const QProcessEnvironment &extra = {})
    {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char *name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, m_home.path());
        environment.insert(u"XDG_CONFIG_HOME"_s, m_home.filePath(u".config"_s));
        environment.insert(u"XDG_RUNTIME_DIR"_s, m_home.path());
        environment.insert(u"POSTHOG_KEY"_s, QString());
        // No session bus: a second-launch check could otherwise find another test's window.
        environment.insert(u"DBUS_SESSION_BUS_ADDRESS"_s, u"unix:path=/nonexistent"_s);
        for (const QString &key : extra.keys())
            environment.insert(key, extra.value(key));

        QProcess process;
        process.setProcessEnvironment(environment);
        process.setWorkingDirectory(m_work.path());
        QEventLoop loop;
        connect(&process, &QProcess::finished, &loop, &QEventLoop::quit);
        connect(&process, &QProcess::errorOccurred, &loop, &QEventLoop::quit);
        QTimer::singleShot(60000, &loop, &QEventLoop::quit);
        process.start(binary, arguments);
        loop.exec();
        Run result;
        if (process.state() != QProcess::NotRunning) {
            process.kill();
            process.waitForFinished();
            return result;
        }
        result.finished = process.exitStatus() == QProcess::NormalExit;
        result.exitCode = process.exitCode();
        result.out = QString::fromUtf8(process.readAllStandardOutput());
        result.err = QString::fromUtf8(process.readAllStandardError());
        return result;
    }

    // Nothing was written: neither the working folder nor the home folder gained a file (no
    // configuration file named after an option, no user-defaults file, no ~/.zandrel).
    void verifyNothingWritten()
    {
        QCOMPARE(filesUnder(m_work.path()), QStringList());
        QCOMPARE(filesUnder(m_home.path()), QStringList());
    }

private Q_SLOTS:
    void init()
    {
        for (const QString &folder : {m_home.path(), m_work.path()}) {
            QDir dir(folder);
            QVERIFY(dir.removeRecursively());
            QVERIFY(QDir().mkpath(folder));
        }
    }

    // ---- varnook-settings --------------------------------------------------------------------

    void versionPrintsTheNameAndVersion_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("long") << u"--version"_s;
        QTest::newRow("short") << u"-v"_s;
    }
    void versionPrintsTheNameAndVersion()
    {
        QFETCH(QString, option);
        const Run result = run(settingsBinary(), {option});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.out, u"varnook-settings " VARNOOK_VERSION "\n"_s);
        QCOMPARE(result.err, QString());
        verifyNothingWritten();
    }

    void helpShowsTheUsageWithEveryOption_data()
    {
        QTest::addColumn<QString>("option");
        QTest::newRow("long") << u"--help"_s;
        QTest::newRow("short") << u"-h"_s;
    }
    void helpShowsTheUsageWithEveryOption()
    {
        QFETCH(QString, option);
        const Run result = run(settingsBinary(), {option});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        QCOMPARE(result.err, QString());
        QCOMPARE(result.out, Shell::helpText());
        QVERIFY(result.out.startsWith(u"Usage: varnook-settings [OPTIONS] [--] [CONFIG]\n"_s));
        // The argument, what it defaults to, and every option the program takes.
        QVERIFY(result.out.contains(u"CONFIG"_s));
        QVERIFY(result.out.contains(u"~/.zandrel/bot-config.json"_s));
        for (const QString &name : {u"-h, --help"_s, u"-v, --version"_s, u"--render-pages FOLDER"_s,
                                    u"--palette dark|light"_s, u"  --  "_s}) {
            QVERIFY2(result.out.contains(name), qPrintable(name));
        }
        verifyNothingWritten();
    }

    // A mistyped option is not taken for a configuration file: one line on standard error with
    // the problem and where to read the usage, status 2, no window, no file.
    void refusedCommandLinesOpenNothingAndWriteNothing_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<QString>("problem");
        QTest::newRow("unknown long option") << QStringList{u"--verison"_s} << u"'verison'"_s;
        QTest::newRow("unknown short option") << QStringList{u"-x"_s} << u"'x'"_s;
        QTest::newRow("unknown option after the file")
            << QStringList{u"bot-config.json"_s, u"--frobnicate"_s} << u"'frobnicate'"_s;
        QTest::newRow("two files") << QStringList{u"a.json"_s, u"b.json"_s} << u"\"b.json\""_s;
        QTest::newRow("two files after --")
            << QStringList{u"--"_s, u"a.json"_s, u"-b.json"_s} << u"\"-b.json\""_s;
        QTest::newRow("missing folder")
            << QStringList{u"--render-pages"_s} << u"'--render-pages'"_s;
        QTest::newRow("palette alone") << QStringList{u"--palette"_s, u"dark"_s} << u"--palette"_s;
        QTest::newRow("unknown palette")
            << QStringList{u"--render-pages"_s, u"out"_s, u"--palette"_s, u"pink"_s} << u"'pink'"_s;
    }
    void refusedCommandLinesOpenNothingAndWriteNothing()
    {
        QFETCH(QStringList, arguments);
        QFETCH(QString, problem);
        const Run result = run(settingsBinary(), arguments);
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 2);
        QCOMPARE(result.out, QString());
        QVERIFY2(result.err.startsWith(u"varnook-settings: "_s), qPrintable(result.err));
        QVERIFY2(result.err.endsWith(u" See varnook-settings --help.\n"_s), qPrintable(result.err));
        QCOMPARE(result.err.count(u'\n'), 1);
        QVERIFY2(result.err.contains(problem), qPrintable(result.err));
        verifyNothingWritten();
    }

    // After "--" a file whose name begins with "-" is the configuration file; Qt's own options
    // still reach Qt (here the platform and the style); the file is used as written.
    void doubleDashEndsTheOptionsAndQtOptionsStillWork()
    {
        QVERIFY(TestSupport::writeFile(m_work.filePath(u"-odd.json"_s),
                                       R"({"bot_tokens": ["1:a", "2:b"]})"));
        const QString out = m_home.filePath(u"shots"_s);
        const Run result
            = run(settingsBinary(), {u"-platform"_s, u"offscreen"_s, u"-style=Fusion"_s,
                                     u"--render-pages"_s, out, u"--"_s, u"-odd.json"_s});
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        // Two bots were read from "-odd.json": their pages come first.
        const QStringList shots = QDir(out).entryList({u"*.png"_s}, QDir::Files, QDir::Name);
        QCOMPARE(shots.size(), 2 + 7 + 1);
        QCOMPARE(shots.at(1), u"02-bot-2.png"_s);
    }

    void theFileIsTakenAsWrittenWithoutTildeExpansion()
    {
        // A folder literally named "~" in the working folder, and a file in the real home
        // that must not be read.
        QVERIFY(QDir(m_work.path()).mkpath(u"~"_s));
        QVERIFY(
            TestSupport::writeFile(m_work.filePath(u"~/cfg.json"_s), R"({"bot_tokens": ["1:a"]})"));
        QVERIFY(TestSupport::writeFile(m_home.filePath(u"cfg.json"_s),
                                       R"({"bot_tokens": ["1:a", "2:b", "3:c"]})"));
        const QString out = m_home.filePath(u"shots"_s);
        const Run result = run(settingsBinary(), {u"--render-pages"_s, out, u"~/cfg.json"_s}, [] {
            QProcessEnvironment e;
            e.insert(u"QT_QPA_PLATFORM"_s, u"offscreen"_s);
            return e;
        }());
        QVERIFY(result.finished);
        QCOMPARE(result.exitCode, 0);
        const QStringList shots = QDir(out).entryList({u"*.png"_s}, QDir::Files, QDir::Name);
        QCOMPARE(shots.size(), 1 + 7 + 1);
        QCOMPARE(shots.at(0), u"01-bot-1.png"_s);
        QCOMPARE(shots.at(1), u"02-model.png"_s);
    }

    // The parser itself, for what the launch sequence gets.
    void launchArgumentsKeepTheFileAsGiven()
    {
        using Shell::CommandLine;
        const CommandLine none
            = Shell::parseCommandLine({u"varnook-settings"_s}, Shell::QtOptions::AlreadyRemoved);
        QCOMPARE(none.action, CommandLine::Action::OpenWindow);
        QCOMPARE(none.launchArguments(u"p"_s), QStringList{u"p"_s});
        const CommandLine relative = Shell::parseCommandLine(
            {u"varnook-settings"_s, u"rel/cfg.json"_s}, Shell::QtOptions::AlreadyRemoved);
        QCOMPARE(relative.launchArguments(u"p"_s), (QStringList{u"p"_s, u"rel/cfg.json"_s}));
        // Qt's options are stepped over before Qt has taken them, and refused after.
        const QStringList withStyle{u"varnook-settings"_s, u"-style"_s, u"Fusion"_s, u"x.json"_s};
        const CommandLine early = Shell::parseCommandLine(withStyle, Shell::QtOptions::Skipped);
        QCOMPARE(early.action, CommandLine::Action::OpenWindow);
        QCOMPARE(early.configPath, u"x.json"_s);
        QCOMPARE(Shell::parseCommandLine(withStyle, Shell::QtOptions::AlreadyRemoved).action,
                 CommandLine::Action::Refuse);
    }

    // ---- varnookctl behaves the same way -----------------------------------------------------

    void varnookctlAnswersVersionHelpAndUnknownOptionsAlike()
    {
        for (const QString &option : {u"--version"_s, u"-v"_s}) {
            const Run version = run(ctlBinary(), {option});
            QCOMPARE(version.exitCode, 0);
            QCOMPARE(version.out, u"varnookctl " VARNOOK_VERSION "\n"_s);
            QCOMPARE(version.err, QString());
        }
        for (const QString &option : {u"--help"_s, u"-h"_s}) {
            const Run help = run(ctlBinary(), {option});
            QCOMPARE(help.exitCode, 0);
            QVERIFY(help.out.startsWith(u"Usage: varnookctl "_s));
            QCOMPARE(help.err, QString());
            // Every option the program takes without a command is listed.
            for (const QString &name :
                 {u"-c, --config <path>"_s, u"--json"_s, u"-h, --help"_s, u"-v, --version"_s}) {
                QVERIFY2(help.out.contains(name), qPrintable(name));
            }
        }
        for (const QStringList &arguments :
             {QStringList{u"--verison"_s}, QStringList{u"-x"_s},
              QStringList{u"get"_s, u"model"_s, u"--frobnicate"_s}}) {
            const Run refused = run(ctlBinary(), arguments);
            QCOMPARE(refused.exitCode, 2);
            QCOMPARE(refused.out, QString());
            QVERIFY2(refused.err.startsWith(u"varnookctl: Unknown option '"_s),
                     qPrintable(refused.err));
            QVERIFY2(refused.err.contains(u"See varnookctl"_s), qPrintable(refused.err));
            QCOMPARE(refused.err.count(u'\n'), 1);
        }
        verifyNothingWritten();
    }

    // Each command's own help lists every option that command takes: the usage line's
    // "[options]" and one line per option of the parser.
    void varnookctlCommandHelpListsItsOptions()
    {
        const Run help = run(ctlBinary(), {u"skills"_s, u"enable"_s, u"--help"_s});
        QCOMPARE(help.exitCode, 0);
        for (const QString &name :
             {u"--config <path>"_s, u"--help"_s, u"--bot <N>"_s, u"--group"_s}) {
            QVERIFY2(help.out.contains(name), qPrintable(name));
        }
        verifyNothingWritten();
    }
};

QTEST_GUILESS_MAIN(TestCommandLine)
#include "tst_commandline.moc"
