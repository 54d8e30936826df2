#pragma once

#include <QString>

// The outside addresses of the program: the GitHub REST API, GitHub's raw-content host, the
// PostHog capture host and Telegram's Bot API. The build sets their defaults (the CMake cache
// variables of the same names); the environment variables VARNOOK_GITHUB_API_BASE,
// VARNOOK_GITHUB_RAW_BASE, VARNOOK_POSTHOG_HOST and VARNOOK_TELEGRAM_API_BASE replace them for
// one run, in the window and in varnookctl alike, so a user or a test can point either program
// at a mirror.
struct OutsideAddresses {
    QString githubApiBase;
    QString githubRawBase;
    QString posthogHost;
    QString telegramApiBase;

    // The build's defaults.
    static OutsideAddresses compiled();
    // The build's defaults, each replaced by its environment variable when that is set and not
    // empty.
    static OutsideAddresses fromEnvironment();
};
