#include "config/personafiles.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <unistd.h>

using namespace Qt::Literals::StringLiterals;

// The persona files offered in the soul-file menus, from the folder of the default persona.
class TestPersonaFiles final : public QObject {
    Q_OBJECT

    QTemporaryDir m_dir;

    void touch(const QString &name) { TestSupport::writeFile(m_dir.filePath(name), "# persona\n"); }

private Q_SLOTS:
    void init()
    {
        QVERIFY(m_dir.isValid());
        QDir dir(m_dir.path());
        for (const QString &name :
             dir.entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot)) {
            QFileInfo info(dir.filePath(name));
            if (info.isDir())
                QDir(info.filePath()).removeRecursively();
            else
                QFile::remove(info.filePath());
        }
    }

    void keepsSoulAndPersonaMarkdownInAnyCaseSortedAndDropsTheRest()
    {
        touch(u"Soul.md"_s);
        touch(u"my-persona.MD"_s);
        touch(u"notes.md"_s);
        touch(u"soul.txt"_s);
        const QStringList files = personaFiles(m_dir.filePath(u"soul.md"_s));
        QCOMPARE(files, (QStringList{u"Soul.md"_s, u"my-persona.MD"_s}));
    }

    void aNameWithPersonaIsKeptWhateverItEndsIn()
    {
        // "ends in .md and contains soul, or contains persona"
        touch(u"persona-draft.txt"_s);
        touch(u"PERSONA"_s);
        touch(u"soulful.markdown"_s);
        touch(u"old-soul.md"_s);
        QVERIFY(QDir(m_dir.path()).mkdir(u"personas"_s));
        const QStringList files = personaFiles(m_dir.filePath(u"soul.md"_s));
        QCOMPARE(files, (QStringList{u"PERSONA"_s, u"old-soul.md"_s, u"persona-draft.txt"_s,
                                     u"personas"_s}));
    }

    void sortsByCodePointNotByLocale()
    {
        touch(u"b-soul.md"_s);
        touch(u"A-soul.md"_s);
        touch(u"a-soul.md"_s);
        touch(u"Z-persona.md"_s);
        QCOMPARE(personaFiles(m_dir.filePath(u"x.md"_s)),
                 (QStringList{u"A-soul.md"_s, u"Z-persona.md"_s, u"a-soul.md"_s, u"b-soul.md"_s}));
    }

    void hiddenFilesCountLikeAnyOther()
    {
        touch(u".soul.md"_s);
        QCOMPARE(personaFiles(m_dir.filePath(u"soul.md"_s)), QStringList{u".soul.md"_s});
    }

    void leadingTildeIsTheHomeFolder()
    {
        // CTest gives every test a HOME of its own.
        const QString zandrel = QDir::homePath() + u"/.zandrel"_s;
        QVERIFY(QDir().mkpath(zandrel));
        TestSupport::writeFile(zandrel + u"/soul.md"_s, "x");
        TestSupport::writeFile(zandrel + u"/bot-config.json"_s, "{}");
        QCOMPARE(personaFolder(u"~/.zandrel/soul.md"_s), zandrel);
        QCOMPARE(personaFiles(u"~/.zandrel/soul.md"_s), QStringList{u"soul.md"_s});
        QCOMPARE(personaFolder(u"~/soul.md"_s), QDir::homePath());
        QDir(zandrel).removeRecursively();
    }

    void folderIsThePathWithoutItsLastComponent()
    {
        QCOMPARE(personaFolder(u"/srv/bots/soul.md"_s), u"/srv/bots"_s);
        QCOMPARE(personaFolder(u"/srv/bots/"_s), u"/srv"_s);
        QCOMPARE(personaFolder(u"/soul.md"_s), u"/"_s);
        QCOMPARE(personaFolder(u"relative/soul.md"_s), u"relative"_s);
        // A tilde inside the path is an ordinary character.
        QCOMPARE(personaFolder(u"/srv/~/soul.md"_s), u"/srv/~"_s);
    }

    void aBareFileNameHasNoFolderAndNoCatalogue()
    {
        QCOMPARE(personaFolder(u"soul.md"_s), QString());
        QCOMPARE(personaFolder(QString()), QString());
        // Whatever the working folder holds.
        const QString before = QDir::currentPath();
        touch(u"soul.md"_s);
        QVERIFY(QDir::setCurrent(m_dir.path()));
        const QStringList files = personaFiles(u"soul.md"_s);
        QVERIFY(QDir::setCurrent(before));
        QCOMPARE(files, QStringList());
        QCOMPARE(personaFiles(QString()), QStringList());
    }

    void missingFolderGivesAnEmptyCatalogue()
    {
        QCOMPARE(personaFiles(m_dir.filePath(u"no/such/folder/soul.md"_s)), QStringList());
    }

    void aFileInPlaceOfTheFolderGivesAnEmptyCatalogue()
    {
        touch(u"soul.md"_s);
        QCOMPARE(personaFiles(m_dir.filePath(u"soul.md/inner.md"_s)), QStringList());
    }

    void unreadableFolderGivesAnEmptyCatalogue()
    {
        if (::geteuid() == 0)
            QSKIP("root reads every folder");
        QVERIFY(QDir(m_dir.path()).mkdir(u"locked"_s));
        const QString locked = m_dir.filePath(u"locked"_s);
        TestSupport::writeFile(locked + u"/soul.md"_s, "x");
        QVERIFY(QFile::setPermissions(locked, QFileDevice::WriteOwner));
        const QStringList files = personaFiles(locked + u"/soul.md"_s);
        QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::WriteOwner
                                          | QFileDevice::ExeOwner);
        QCOMPARE(files, QStringList());
    }
};

QTEST_GUILESS_MAIN(TestPersonaFiles)
#include "tst_personafiles.moc"
