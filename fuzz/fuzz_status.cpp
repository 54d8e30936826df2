// Arbitrary bytes as a status file, and every text the window builds from what parses.
#include "service/statusinfo.h"
#include "fuzzcheck.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QByteArray bytes
        = QByteArray::fromRawData(reinterpret_cast<const char *>(data), qsizetype(size));
    if (const std::optional<StatusInfo> status = parseStatus(bytes)) {
        (void)statusLineText(*status);
        (void)tokensUsedText(*status);
        (void)requestsByBotLabel(*status);
        (void)primaryProviderText(*status);
        (void)backupModelsText(*status);
        (void)requestsText(*status);
        // A record written back reads the same.
        FUZZ_CHECK(parseStatus(serialiseStatus(*status)) == status);
    }
    return 0;
}
