// Checking the installed catalogue skills against their sources on the loopback raw server, and
// updating the changed ones: the results, the requests made and the files left on disk.
#include "skills/skillupdates.h"

#include "model/settingsmodel.h"
#include "service/notificationtransport.h"

#include "support/catalogueskills.h"
#include "support/fakegithub.h"
#include "support/testsupport.h"

#include <QDir>
#include <QFile>
#include <QNetworkAccessManager>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

using namespace CatalogueSkills;

namespace {

struct Setup {
    QTemporaryDir dir;
    FakeGithub github;
    InMemoryTransport transport;
    QNetworkAccessManager network;
    std::unique_ptr<SettingsModel> model;
    std::unique_ptr<SkillUpdates> updates;

    Setup()
    {
        model = std::make_unique<SettingsModel>(
            dir.filePath(u"bot-config.json"_s),
            ModelEnvironment{&transport, &network, github.apiBase(), github.rawBase()});
        model->setDownloadLimit(1024);
        model->setDownloadTimeout(2000);
        updates = std::make_unique<SkillUpdates>(&model->registry());
    }
    QString skillsPath() const { return dir.filePath(u"skills"_s); }
    QString skillFile(const QString &name) const { return skillsPath() + u'/' + name + u".md"_s; }
    void install(const QString &name, const QByteArray &bytes)
    {
        QDir().mkpath(skillsPath());
        TestSupport::writeFile(skillFile(name), bytes);
    }
    bool check(const QString &name = {})
    {
        QSignalSpy finished(updates.get(), &SkillUpdates::finished);
        updates->check(name);
        return finished.wait(10000) && !updates->checking();
    }
    SkillUpdates::State state(const QString &name) const
    {
        const SkillUpdates::Result *result = updates->result(name);
        return result ? result->state : SkillUpdates::State::Checking;
    }
};

} // namespace

class TestSkillUpdates final : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void changedUnchangedAndFailingSourcesAreToldApart()
    {
        Setup s;
        s.install(u"pdf"_s, oldPdf);
        s.install(u"docx"_s, docx);
        s.install(u"xlsx"_s, "# Sheets\n");
        s.install(u"pptx"_s, "# Decks\n");
        s.install(u"briefing"_s, "# Briefing\n"); // ships with the service: not checked
        s.github.serveRaw(rawPath(u"pdf"_s), newPdf);
        s.github.serveRaw(rawPath(u"docx"_s), docx);
        // xlsx: not on the server (404)
        s.github.serveRaw(rawPath(u"pptx"_s), QByteArray(4096, 'x')); // over the 1 KiB cap

        QVERIFY(s.check());
        QStringList names;
        for (const SkillUpdates::Result &result : s.updates->results())
            names.append(result.name);
        QCOMPARE(names, (QStringList{u"pdf"_s, u"docx"_s, u"xlsx"_s, u"pptx"_s}));
        QCOMPARE(s.state(u"pdf"_s), SkillUpdates::State::Outdated);
        QCOMPARE(s.state(u"docx"_s), SkillUpdates::State::Current);
        QCOMPARE(s.state(u"xlsx"_s), SkillUpdates::State::Failed);
        QCOMPARE(s.updates->result(u"xlsx"_s)->problem, u"HTTP 404"_s);
        QCOMPARE(s.state(u"pptx"_s), SkillUpdates::State::Failed);
        QCOMPARE(s.updates->result(u"pptx"_s)->problem, u"Answer larger than 1 KiB"_s);
        QCOMPARE(s.updates->summary(), u"1 update available. Couldn't check 2 of 4."_s);
        // One request per installed catalogue skill, nothing else.
        QCOMPARE(s.github.requestsUnder(u"/raw/"_s).size(), 4);
        // Checking writes nothing.
        QCOMPARE(TestSupport::readFile(s.skillFile(u"pdf"_s)), oldPdf);
    }

    void anUpdateWritesTheComparedSourceAtomically()
    {
        Setup s;
        s.install(u"pdf"_s, oldPdf);
        s.github.serveRaw(rawPath(u"pdf"_s), newPdf);
        s.model->loadSkillsAndFeatures();
        QVERIFY(s.check());
        QCOMPARE(s.state(u"pdf"_s), SkillUpdates::State::Outdated);

        // The server changes again after the check: what was compared is what is written.
        s.github.serveRaw(rawPath(u"pdf"_s), "# Something else\n");
        QSignalSpy skills(s.model.get(), &SettingsModel::skillsChanged);
        QVERIFY(s.updates->update(u"pdf"_s));
        QCOMPARE(TestSupport::readFile(s.skillFile(u"pdf"_s)), newPdf);
        QCOMPARE(s.state(u"pdf"_s), SkillUpdates::State::Current);
        QCOMPARE(s.updates->summary(), u"All catalogue skills are up to date."_s);
        // The Skills page reads the new file at once.
        QVERIFY(!skills.isEmpty());
        QCOMPARE(s.model->skills().constFirst().title, u"PDF tools"_s);
        // No temporary file is left beside it.
        QCOMPARE(QDir(s.skillsPath()).entryList(QDir::Files | QDir::Hidden),
                 QStringList{u"pdf.md"_s});
        // Nothing left to update.
        QVERIFY(!s.updates->update(u"pdf"_s));
        QCOMPARE(s.updates->problem(), u"pdf has no update to install"_s);
    }

    void anUpdateReplacesALinkAndNeverWritesThroughIt()
    {
        Setup s;
        const QString outside = s.dir.filePath(u"outside.md"_s);
        TestSupport::writeFile(outside, oldPdf);
        QDir().mkpath(s.skillsPath());
        QVERIFY(QFile::link(outside, s.skillFile(u"pdf"_s)));
        s.github.serveRaw(rawPath(u"pdf"_s), newPdf);
        QVERIFY(s.check());
        QVERIFY(s.updates->update(u"pdf"_s));
        QCOMPARE(TestSupport::readFile(outside), oldPdf);
        QVERIFY(!QFileInfo(s.skillFile(u"pdf"_s)).isSymLink());
        QCOMPARE(TestSupport::readFile(s.skillFile(u"pdf"_s)), newPdf);
    }

    void oneSkillCanBeCheckedAlone()
    {
        Setup s;
        s.install(u"pdf"_s, oldPdf);
        s.install(u"docx"_s, docx);
        s.github.serveRaw(rawPath(u"pdf"_s), newPdf);
        QVERIFY(s.check(u"pdf"_s));
        QCOMPARE(s.updates->results().size(), 1);
        QCOMPARE(s.github.requestsUnder(u"/raw/"_s).size(), 1);
    }

    void withNothingInstalledTheCheckEndsAtOnce()
    {
        Setup s;
        s.install(u"briefing"_s, "# Briefing\n");
        QVERIFY(s.check());
        QVERIFY(s.updates->results().isEmpty());
        QCOMPARE(s.updates->summary(), u"No skills from the catalogue are installed."_s);
        QVERIFY(s.github.requests().isEmpty());
    }

    void aNewCheckDropsTheAnswersOfTheOldOne()
    {
        Setup s;
        s.install(u"pdf"_s, oldPdf);
        s.github.serveRaw(rawPath(u"pdf"_s), newPdf);
        QSignalSpy finished(s.updates.get(), &SkillUpdates::finished);
        s.updates->check();
        s.updates->check();
        QVERIFY(finished.wait(10000));
        QTest::qWait(100);
        QCOMPARE(finished.size(), 1);
        QCOMPARE(s.state(u"pdf"_s), SkillUpdates::State::Outdated);
    }
};

QTEST_GUILESS_MAIN(TestSkillUpdates)
#include "tst_skillupdates.moc"
