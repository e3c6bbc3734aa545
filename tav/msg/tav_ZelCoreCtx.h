#pragma once

#include "platform/include/nls.h"
#include "platform/include/threads.h"

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace TAV {

/// A message handle with the lock that every lookup through it takes.
struct MessageHandle {
    lmshdl handle{};
    cls_thrIMx mutex;
};

/// One language's national-language state. Released by its last user, which may be later than its
/// eviction from the cache.
struct lang_ctx {
    lang_ctx() = default;
    lang_ctx(const lang_ctx&) = delete;
    lang_ctx& operator=(const lang_ctx&) = delete;
    ~lang_ctx();

    lxload* load = nullptr;
    lxglo* global = nullptr;
    lxlang* language = nullptr; ///< lives as long as the process
    ldxctx formatting{};
    MessageHandle messages;
    std::unique_ptr<std::byte[]> messageCache;
};

/// The process's language contexts, made on the first lookup in their language and kept by the
/// upper-cased language name; the empty name is the environment's language.
///
/// May be used from several threads. What the operations return is shared: it stays valid as long
/// as the caller holds it, whatever is evicted or cleaned up meanwhile.
class ZelCoreCtx {
public:
    /// A command uses one language; more are for processes that answer in their callers' ones.
    static constexpr std::size_t CAPACITY = 10;
    static constexpr std::size_t MESSAGE_CACHE_SIZE = 2048;

    ZelCoreCtx() = default;
    ZelCoreCtx(const ZelCoreCtx&) = delete;
    ZelCoreCtx& operator=(const ZelCoreCtx&) = delete;

    /// The one instance, made on first use and again after cleanup.
    static std::shared_ptr<ZelCoreCtx> getInstance();
    /// Drops the instance; it and its contexts end with their last user.
    static void cleanup();

    /// The context of a language. Null names mean the environment's language, the product "vorn"
    /// and the facility "VORN"; product and facility count when the context is made. Null when the
    /// message handle cannot be opened.
    std::shared_ptr<lang_ctx> getLangCtx(const char* product, const char* facility,
                                         const char* language);
    /// Parts of that context, null without one.
    std::shared_ptr<MessageHandle> getLmxHandle(const char* product, const char* facility,
                                                const char* language);
    std::shared_ptr<lang_ctx> getNlsCtx(const char* language);
    lxlang* getLangId(const char* language);
    std::shared_ptr<ldxctx> getLdxCtx(const char* language);

    /// Opens a message handle with its cache, whose memory the caller keeps as long as the handle.
    /// 0, or -1 and an empty handle.
    static int initLmxHandle(const char* product, const char* facility, const char* language,
                             lxlang* languageHandle, lxglo* global, lmshdl* handle,
                             std::unique_ptr<std::byte[]>& memory);

private:
    static std::shared_ptr<lang_ctx> makeContext(const char* product, const char* facility,
                                                 const char* language);
    void evictOne();

    std::map<std::string, std::shared_ptr<lang_ctx>> m_cache;
};

} // namespace TAV
