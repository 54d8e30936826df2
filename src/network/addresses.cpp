#include "network/addresses.h"

namespace {

QString overridden(const char *variable, const QString &compiled)
{
    const QString value = qEnvironmentVariable(variable);
    return value.isEmpty() ? compiled : value;
}

} // namespace

OutsideAddresses OutsideAddresses::compiled()
{
    return {QStringLiteral(VARNOOK_GITHUB_API_BASE), QStringLiteral(VARNOOK_GITHUB_RAW_BASE),
            QStringLiteral(VARNOOK_POSTHOG_HOST), QStringLiteral(VARNOOK_TELEGRAM_API_BASE)};
}

OutsideAddresses OutsideAddresses::fromEnvironment()
{
    const OutsideAddresses defaults = compiled();
    return {overridden("VARNOOK_GITHUB_API_BASE", defaults.githubApiBase),
            overridden("VARNOOK_GITHUB_RAW_BASE", defaults.githubRawBase),
            overridden("VARNOOK_POSTHOG_HOST", defaults.posthogHost),
            overridden("VARNOOK_TELEGRAM_API_BASE", defaults.telegramApiBase)};
}
