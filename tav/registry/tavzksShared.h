#pragma once

#include "cppgen/clsLog.h"
#include "platform/include/registry.h"
#include "platform/include/threads.h"
#include "tav/registry/tavzks.h"

#include <atomic>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

/// What the sources of registry access share among themselves; nobody else includes this.
namespace TAV {

/// The process's contexts, null until opened. They change under their registry's mutex and are read
/// without it: an operation that meets a closed context is answered PRZKS_BADARG.
extern std::atomic<przks_ctx*> gzksctx; ///< cluster registry, DEFAULT or CACHE
extern std::atomic<przks_ctx*> rzksctx; ///< cluster registry, REBOOT
extern std::atomic<przks_ctx*> gzklctx;
extern std::atomic<przks_ctx*> rzklctx;
extern cls_thrIMx s_zksMux;
extern cls_thrIMx s_zklMux;

namespace zks {

// Log lines

/// While one lives, its thread logs nothing here: for hooks of the logging layer, which must not.
class Quiet {
public:
    Quiet();
    ~Quiet();
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;
    static bool active();

private:
    bool m_outer;
};

/// The module's log, "VORNZKS". Lives until the process ends.
CLS_Debug::CLSlog& log();

/// One line made of the pieces, whatever the module's level: something failed.
template <class... Pieces>
void traceFailure(const Pieces&... pieces) {
    if (Quiet::active()) return;
    std::ostringstream text;
    (text << ... << pieces);
    log().error(text);
}
/// One line that is written when the module's level asks for it.
template <class... Pieces>
void trace(const Pieces&... pieces) {
    if (Quiet::active() || !log().writes(CLS_Debug::DETAIL_DEFAULT)) return;
    std::ostringstream text;
    (text << ... << pieces);
    log().out(text);
}

/// Names of client operations, for reports.
inline constexpr const char* OPEN_KEY = "przks_open_key";
inline constexpr const char* CLOSE_KEY = "przks_close_key";
inline constexpr const char* GET_VALUE = "przks_get_value";
inline constexpr const char* SET_VALUE = "przks_set_value";
inline constexpr const char* CREATE_KEY = "przks_create_key";
inline constexpr const char* CREATE_N_SET_KEY = "przks_create_n_set_key";
inline constexpr const char* DELETE_KEY = "przks_delete_key";
inline constexpr const char* MOVE_KEY = "przks_move_key";
inline constexpr const char* ENUM_SUBKEY = "przks_enum_subkey";
inline constexpr const char* GET_KEY_SECURITY = "przks_get_key_security";

/// Reports a failed client operation and hands its status back.
int failed(przks_ctx* ctx, const char* api, const std::string& key, int rc);

/// The given context, else the open default one; without one the process ends.
przks_ctx* contextOr(przks_ctx* given);

// Names

/// The local node's member number as text. When it cannot be told this is logged and nothing comes.
std::optional<std::string> localMember();
/// Status of operations that need the member number and have none.
inline constexpr int NO_MEMBER = PRZKS_CONFIG;

/// A resource's name as one component of a key, and back.
std::string componentOf(std::string name);
std::string nameOf(std::string component);
/// The key of an area. PRZKS_BADARG for a number that names none.
int areaKey(int loc, std::string& key);
int resourceKey(const std::string& resource, int loc, std::string& key);
int attributeKey(const std::string& resource, const std::string& attribute, int loc,
                 std::string& key);

// Keys and values

/// The complete name of a sub-key; the root key's name is empty.
std::string subKeyName(const std::string& key, const std::string& component);

enum class IfMissing { fail, create };

/// An open key, closed on every way out. Also says why it is not open.
class OpenKey {
public:
    /// Opens a key by its complete name. One that is created has the security of the key above. A
    /// name that holds a NUL, which the client would take for its end, is PRZKS_BADNAME.
    OpenKey(przks_ctx* ctx, std::string name, IfMissing missing = IfMissing::fail);
    ~OpenKey() { close(); }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;

    [[nodiscard]] int status() const { return m_status; }
    [[nodiscard]] bool isOpen() const { return m_status == PRZKS_OK; }
    [[nodiscard]] przks_key* get() const { return m_key; }
    [[nodiscard]] const std::string& name() const { return m_name; }
    /// Reports why it is not open and hands the status back.
    [[nodiscard]] int report() const { return failed(m_ctx, m_api, m_name, m_status); }
    int close();
    /// Leaves the handle open to somebody else's care.
    przks_key* release();

private:
    void open();

    przks_ctx* m_ctx;
    std::string m_name;
    przks_key* m_key = nullptr;
    const char* m_api = OPEN_KEY;
    int m_status = PRZKS_BADNAME;
};

/// Room for the longest value.
class ValueBuffer {
public:
    ValueBuffer() : m_bytes(std::make_unique<char[]>(PRZKS_MAX_VALUE)) {}

    /// Reads a key's value as text: up to its NUL, or all of it when its writer left the NUL out.
    int read(przks_ctx* ctx, przks_key* key, std::string& text);
    [[nodiscard]] char* bytes() { return m_bytes.get(); }

private:
    std::unique_ptr<char[]> m_bytes;
};

/// The text in `bytes`: up to its first NUL, or all of them.
std::string_view textIn(std::string_view bytes);

/// Creates the key unless it exists and sets its value as text. A text that holds a NUL would be
/// read back short and is refused. Failures are reported.
int setText(przks_ctx* ctx, const std::string& key, const std::string& text);
/// The same for a key below an open one, in one step: nobody finds it without a value, and it does
/// not bring back what was deleted above it.
int setTextBelow(przks_ctx* ctx, const OpenKey& above, const std::string& component,
                 const std::string& text);

/// The name of the index-th direct sub-key.
int subKey(przks_ctx* ctx, przks_key* key, unsigned index, std::string& name);

} // namespace zks
} // namespace TAV
