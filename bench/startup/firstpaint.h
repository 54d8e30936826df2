#pragma once

// Shared by the two start-up probes: reports the time from the process start (as the driving
// script recorded it in STARTUP_T0_NS, CLOCK_REALTIME nanoseconds, just before exec) to the end
// of the window's first paint, and the peak resident memory so far, then quits.

#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimer>
#include <QWidget>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <sys/resource.h>

class FirstPaintProbe final : public QObject {
public:
    explicit FirstPaintProbe(QWidget *window)
        : QObject(window)
    {
        window->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *, QEvent *event) override
    {
        if (event->type() == QEvent::Paint && !m_seen) {
            m_seen = true;
            // After this paint has been delivered and flushed.
            QTimer::singleShot(0, this, [] { report(); });
        }
        return false;
    }

private:
    static void report()
    {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        const char *t0 = std::getenv("STARTUP_T0_NS");
        const long long start = t0 ? std::atoll(t0) : 0;
        const long long end = static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
        rusage usage{};
        getrusage(RUSAGE_SELF, &usage);
        std::printf("shown_ms=%.2f maxrss_kb=%ld\n", static_cast<double>(end - start) / 1e6,
                    usage.ru_maxrss);
        std::fflush(stdout);
        QCoreApplication::exit(0);
    }

    bool m_seen = false;
};
