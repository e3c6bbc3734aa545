#include "cppgen/clsThreadMain.h"
#include "tav/registry/tavzksShared.h"

#include <array>

namespace TAV {

namespace {

constexpr const char* SOURCE = "tavzksFailures";
constexpr const char* LAST_WORDS = "VORND Exiting. ZKS Failed";

/// The client's texts of failed operations are no longer than those of failed opening.
using ErrorText = std::array<char, PRZKS_ERRORTEXT_SIZE>;

[[noreturn]] void end(const std::string& file, int line, const std::string& message,
                      CLS_Debug::DebugDetail detail, int code) {
    std::ostringstream text;
    text << ' ' << message << " (File: " << file << ", line: " << line << ')';
    zks::log().log(text, detail);
    CLS_Threading::CLSthreadMain::processExit(code, LAST_WORDS, false);
}

} // namespace

void rtizks_report_zks_error(przks_ctx* ctx, const std::string& api, const std::string& key,
                             const std::string& /*context*/, int rc) {
    if (ctx == nullptr) tavzksExit(SOURCE, __builtin_LINE(), "Invalid ZKS Context");
    if (zks::Quiet::active()) return;
    ErrorText text{};
    przks_get_last_error(ctx, text.data(), text.size());
    std::ostringstream line;
    line << " ZKS api " << api << " failed for key " << key << ". ZKS error code = " << rc
         << " ZKS error msg: " << text.data();
    zks::log().log(line, CLS_Debug::DETAIL_DEFAULT);
}

void tavzksExit(const std::string& file, int line, const std::string& message) {
    end(file, line, message, CLS_Debug::DETAIL_DEFAULT, 0);
}

void tavzksFatal(const std::string& file, int line, const std::string& message) {
    end(file, line, message, CLS_Debug::DETAIL_PANIC, 1);
}

} // namespace TAV
