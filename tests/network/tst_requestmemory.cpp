// Peak memory while a hostile server sends without end: a download may hold no more than its
// byte limit beyond what a normal download needs, and the provider test (limit 0) nothing.
// The peak resident set (VmHWM) is reset before each phase through /proc/self/clear_refs.
#include "network/request.h"

#include "support/fakeproviderserver.h"
#include "support/hostileserver.h"

#include <QFile>
#include <QNetworkAccessManager>
#include <QNetworkRequest>
#include <QTest>

#include <memory>

using namespace Qt::Literals::StringLiterals;

namespace {

// A field of /proc/self/status in KiB ("VmHWM", "VmRSS"), or -1.
qint64 statusKiB(const QByteArray &field)
{
    QFile file(u"/proc/self/status"_s);
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n')) {
        if (line.startsWith(QByteArray(field + ':')))
            return line.mid(field.size() + 1).trimmed().split(' ').value(0).toLongLong();
    }
    return -1;
}

// Sets the peak back to the current resident set.
bool resetPeak()
{
    QFile file(u"/proc/self/clear_refs"_s);
    return file.open(QIODevice::WriteOnly) && file.write("5") == 1;
}

} // namespace

class TestRequestMemory final : public QObject {
    Q_OBJECT

    QNetworkAccessManager m_network;

    // How far the peak rose above the resident set at its start while one request ran.
    qint64 peakRiseKiB(const QString &url, Net::Limits limits, Net::Method method,
                       Net::Ending expected)
    {
        resetPeak();
        const qint64 before = statusKiB("VmRSS");
        bool done = false;
        Net::Ending ending = Net::Ending::Failed;
        Net::send(&m_network, this, method, QNetworkRequest(QUrl(url)), {}, limits,
                  [&](const Net::Outcome &outcome) {
                      ending = outcome.ending;
                      done = true;
                  });
        if (!QTest::qWaitFor([&] { return done; }, 60000) || ending != expected)
            return -1;
        return statusKiB("VmHWM") - before;
    }

private Q_SLOTS:
    void initTestCase()
    {
#ifdef __SANITIZE_ADDRESS__
        // AddressSanitizer keeps freed memory in quarantine and adds its own shadow pages, so the
        // resident set says nothing about what the program itself holds; the normal build
        // measures it.
        QSKIP("peak memory is not the program's own under AddressSanitizer");
#endif
        if (!resetPeak() || statusKiB("VmHWM") < 0)
            QSKIP("this kernel does not let a process reset its peak resident set");
        // Warm up the network code once, so that neither phase pays for loading it.
        HostileServer warm(HostileServer::Mode::ReplyAndClose);
        warm.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok");
        QVERIFY(peakRiseKiB(warm.url(), Net::skillDownloadLimits, Net::Method::Get,
                            Net::Ending::Answered)
                >= 0);
    }

    void endlessDownloadStaysWithinNormalPeakPlusTheCap()
    {
        const qint64 capKiB = Net::skillDownloadLimits.maxBodyBytes / 1024;
        HostileServer normal(HostileServer::Mode::ReplyAndClose);
        normal.setAnswer("HTTP/1.1 200 OK\r\nContent-Length: 65536\r\n\r\n"
                         + QByteArray(65536, 's'));
        const qint64 normalRise = peakRiseKiB(normal.url(), Net::skillDownloadLimits,
                                              Net::Method::Get, Net::Ending::Answered);
        QVERIFY(normalRise >= 0);

        for (const auto mode :
             {HostileServer::Mode::EndlessChunked, HostileServer::Mode::EndlessBody}) {
            HostileServer endless(mode);
            const qint64 endlessRise = peakRiseKiB(endless.url(), Net::skillDownloadLimits,
                                                   Net::Method::Get, Net::Ending::TooLarge);
            QVERIFY(endlessRise >= 0);
            qInfo("skill download, %s: peak rose %lld KiB (a normal 64 KiB download: %lld KiB; "
                  "cap %lld KiB; the server sent %lld KiB)",
                  mode == HostileServer::Mode::EndlessChunked ? "endless chunked body"
                                                              : "endless body",
                  endlessRise, normalRise, capKiB, endless.bytesSent() / 1024);
            QVERIFY2(endlessRise <= normalRise + capKiB, qPrintable(u"%1 KiB"_s.arg(endlessRise)));
        }
    }

    void providerTestAgainstAnEndlessBodyReadsNothing()
    {
        FakeProviderServer provider;
        QVERIFY(provider.listen());
        const qint64 normalRise
            = peakRiseKiB(provider.url(u"/v1/chat/completions"_s), Net::providerTestLimits,
                          Net::Method::Post, Net::Ending::Answered);
        QVERIFY(normalRise >= 0);
        HostileServer endless(HostileServer::Mode::EndlessBody);
        const qint64 endlessRise
            = peakRiseKiB(endless.url(u"/v1/chat/completions"_s), Net::providerTestLimits,
                          Net::Method::Post, Net::Ending::Answered);
        QVERIFY(endlessRise >= 0);
        qInfo("provider test, endless body after 200: peak rose %lld KiB (a normal answer: %lld "
              "KiB; the server sent %lld KiB)",
              endlessRise, normalRise, endless.bytesSent() / 1024);
        // Limit 0: nothing beyond a normal answer, give or take the allocator's page or two and
        // the in-process server's own send buffer (256 KiB ahead of the client at most).
        QVERIFY2(endlessRise <= normalRise + 512, qPrintable(u"%1 KiB"_s.arg(endlessRise)));
    }
};

QTEST_GUILESS_MAIN(TestRequestMemory)
#include "tst_requestmemory.moc"
