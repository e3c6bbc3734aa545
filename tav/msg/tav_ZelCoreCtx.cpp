#include "tav/msg/tav_ZelCoreCtx.h"

#include "cppgen/clsLog.h"
#include "platform/include/immortal.h"

#include <cstring>
#include <iterator>
#include <new>
#include <sstream>

namespace TAV {

namespace {

constexpr const char* DEFAULT_PRODUCT = "vorn";
constexpr const char* DEFAULT_FACILITY = "VORN";
constexpr const char* SOURCE = "tav_ZelCoreCtx";
constexpr int CALLBACK_LINE = 49;

/// Guards the instance and its cache. Recursive, as an assertion that fails under it may look its
/// own message up.
constinit cls_thrIMx s_mutex;

/// Messages may be looked up while the process ends.
std::shared_ptr<ZelCoreCtx>& s_pInstance() {
    static Immortal<std::shared_ptr<ZelCoreCtx>> instance;
    return *instance;
}

void require(bool condition, const char* conditionText, int line = __builtin_LINE()) {
    CLS_Debug::clsAssert(condition, conditionText, SOURCE, line);
}

void errCallBack() {
    CLS_Debug::clsAssert(false, "0", SOURCE, CALLBACK_LINE);
}

const char* orDefault(const char* text, const char* fallback) {
    return text == nullptr ? fallback : text;
}

/// The name under which a language is cached: upper-cased, empty for the environment's.
std::string cacheKey(const char* language) {
    if (language == nullptr) return {};
    std::string key(std::strlen(language) + 1, '\0');
    key.resize(lstup(key.data(), key.size(), language));
    return key;
}

void initLanguageSupport(lang_ctx& context) {
    unsigned error = 0;
    context.load = lxldini(0);
    require(context.load != nullptr, "context.load != nullptr");
    context.global = lxlinit(context.load, 0, &error);
    require(context.global != nullptr, "context.global != nullptr");
    const lxhnd* const handle = lxinitc(context.global, 0, 0, 0);
    require(handle != nullptr, "handle != nullptr");
}

} // namespace

lang_ctx::~lang_ctx() {
    lmsatrm(&messages.handle);
    require(lxlterm(global) == 0, "lxlterm(global) == 0");
    require(lxldfcb(load) == 0, "lxldfcb(load) == 0");
}

std::shared_ptr<ZelCoreCtx> ZelCoreCtx::getInstance() {
    const StaticLock lock(s_mutex);
    std::shared_ptr<ZelCoreCtx>& instance = s_pInstance();
    if (instance == nullptr) instance = std::make_shared<ZelCoreCtx>();
    return instance;
}

void ZelCoreCtx::cleanup() {
    const StaticLock lock(s_mutex);
    s_pInstance().reset();
}

std::shared_ptr<lang_ctx> ZelCoreCtx::getLangCtx(const char* product, const char* facility,
                                                 const char* language) {
    // The empty key is the environment's, so an empty name must not be cached as another language.
    if (language != nullptr && *language == '\0') language = nullptr;
    const StaticLock lock(s_mutex);
    const std::string key = cacheKey(language);
    if (const auto cached = m_cache.find(key); cached != m_cache.end()) return cached->second;
    std::shared_ptr<lang_ctx> made = makeContext(product, facility, language);
    if (made == nullptr) return nullptr;
    if (m_cache.size() >= CAPACITY) evictOne();
    m_cache.emplace(key, made);
    return made;
}

std::shared_ptr<MessageHandle> ZelCoreCtx::getLmxHandle(const char* product, const char* facility,
                                                        const char* language) {
    auto context = getLangCtx(product, facility, language);
    if (context == nullptr) return nullptr;
    MessageHandle* const handle = &context->messages;
    return {std::move(context), handle};
}

std::shared_ptr<lang_ctx> ZelCoreCtx::getNlsCtx(const char* language) {
    return getLangCtx(nullptr, nullptr, language);
}

lxlang* ZelCoreCtx::getLangId(const char* language) {
    const auto context = getNlsCtx(language);
    return context == nullptr ? nullptr : context->language;
}

std::shared_ptr<ldxctx> ZelCoreCtx::getLdxCtx(const char* language) {
    auto context = getNlsCtx(language);
    if (context == nullptr) return nullptr;
    ldxctx* const formatting = &context->formatting;
    return {std::move(context), formatting};
}

std::shared_ptr<lang_ctx> ZelCoreCtx::makeContext(const char* product, const char* facility,
                                                  const char* language) {
    auto context = std::make_shared<lang_ctx>();
    initLanguageSupport(*context);
    context->language = language == nullptr
                            ? lxhLangEnv(context->global)
                            : lxhLaToId(language, std::strlen(language), context->global);
    ldxbegin(&context->formatting, context->language, context->global, errCallBack);
    const int failed = initLmxHandle(
        orDefault(product, DEFAULT_PRODUCT), orDefault(facility, DEFAULT_FACILITY), language,
        context->language, context->global, &context->messages.handle, context->messageCache);
    if (failed == 0) return context;
    std::ostringstream line;
    line << " getLangCtx(): Error initializing message handle.";
    CLS_Debug::dbLog(line, CLS_Debug::DETAIL_DEFAULT);
    return nullptr;
}

void ZelCoreCtx::evictOne() {
    std::uint32_t random = 0;
    require(ztcr2ub4(&random) == 0, "ztcr2ub4(&random) == 0");
    const std::uint64_t position = (std::uint64_t{random} * CAPACITY) >> 32;
    m_cache.erase(std::next(m_cache.begin(), static_cast<std::ptrdiff_t>(position)));
}

int ZelCoreCtx::initLmxHandle(const char* product, const char* facility, const char*,
                              lxlang* languageHandle, lxglo* global, lmshdl* handle,
                              std::unique_ptr<std::byte[]>& memory) {
    *handle = {};
    lmsaicmt(handle, product, facility, languageHandle, global);
    if (handle->error != 0) {
        lmsatrm(handle);
        return -1;
    }
    memory.reset(new (std::nothrow) std::byte[MESSAGE_CACHE_SIZE]);
    // Without memory the handle works without its cache.
    if (memory == nullptr) return 0;
    lmsacbn(handle, lmsacin(memory.get(), MESSAGE_CACHE_SIZE, 8), 1);
    return 0;
}

} // namespace TAV
