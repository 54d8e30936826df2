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
    // Watches every widget: a window whose content covers it whole (the settings window's
    // scroll area) paints only its children, never itself.
    explicit FirstPaintProbe(QWidget *window)
        : QObject(window)
        , m_window(window)
    {
        QCoreApplication::instance()->installEventFilter(this);
    }

protected:
    bool eventFilter(QObject *watched, QEvent *event) override
    {
        const auto *widget = qobject_cast<QWidget *>(watched);
        if (event->type() == QEvent::Paint && !m_seen && widget && widget->window() == m_window) {
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

    QWidget *m_window;
    bool m_seen = false;
};
