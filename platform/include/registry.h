#pragma once

#include <cstdint>

/// The registry client: trees of dot-separated keys with typed values, shared by many processes.
///
/// Two registries exist, the cluster's and the node's own; node.conf names the store of each
/// (`cluster_registry`, `local_registry`: `dir:PATH`). Opening never creates a store.
///
/// Every change is one step for readers in every process: they find the old state or the new one,
/// also when a writer is killed, the machine fails or the disk is full. A change that answered
/// PRZKS_OK is durable, except in a bulk context (PRZKS_INIT_BULK).
///
/// Names. "a.b.c" names a key; "" names the root key; a name given with a parent key is relative,
/// unless it begins with the parent's name and "." (then it is complete). A component may hold any
/// bytes but "." and NUL; an empty component is refused (PRZKS_BADNAME).
///
/// Threads. A context and a key may be used by several threads at once. Handles are never reused: a
/// closed one is told (PRZKS_BADARG), not followed. A key handle holds a name, not a place in the
/// store: it outlives its context, may be used with another context of the registry, and answers
/// PRZKS_NOTFOUND once its key is deleted or was moved through another handle.
///
/// Every operation returns PRZKS_OK (0) or another status; then the text of
/// przks_get_last_error says what failed, on which key, and why. Out-parameters of a failed call
/// are null or untouched, except where stated.

struct przks_ctx;
struct przks_key;
struct przks_watcher;

enum przks_status : int {
    PRZKS_OK = 0,
    PRZKS_NOTFOUND = 4,
    PRZKS_EXISTS = 5,
    PRZKS_NOMORE = 6,    ///< the index is past the last sub-key
    PRZKS_SHORTBUF = 7,  ///< nothing was delivered; the length parameter tells what is needed
    PRZKS_DENIED = 8,    ///< the system's users and the key's owner, group and mode do not allow it
    PRZKS_IO = 9,        ///< a file is damaged, or a system call failed
    PRZKS_BADNAME = 10,  ///< empty component, or one too long; the root where none is allowed
    PRZKS_BADARG = 11,   ///< null where something is needed, a closed handle, a value out of range
    PRZKS_READONLY = 12, ///< a change through a REBOOT context, or the file system is read-only
    PRZKS_HASSUBKEYS = 13,
    PRZKS_BUSY = 14,      ///< another process kept a lock for longer than PRZKS_LOCK_WAIT_MS
    PRZKS_NOSTORE = 15,   ///< no store exists there (opening has no text then), or it was removed
    PRZKS_CONFIG = 16,    ///< the node's configuration is unusable, or names an unknown scheme
    PRZKS_FULL = 17,      ///< disk, quota or file size limit
    PRZKS_RESOURCES = 18, ///< out of memory or descriptors
    PRZKS_DEFAULT_LOST = 24, ///< the store's service is down; the REBOOT level still reads
};

/// Levels of a context on the cluster registry (any other value below PRZKL_CACHE: CACHE).
/// DEFAULT reads and changes while the store's service is up. CACHE does the same and may answer a
/// repeated read from memory while the key is unchanged on disk. REBOOT only reads, and needs
/// neither locks nor the service. The service is down while a file DOWN stands in the store's
/// folder: DEFAULT and CACHE contexts cannot be opened then, and open ones answer
/// PRZKS_DEFAULT_LOST.
enum : unsigned { PRZKS_CACHE = 1, PRZKS_REBOOT = 2, PRZKS_DEFAULT = 3 };
/// The same for the local registry (any other value from PRZKL_CACHE on: CACHE).
enum : unsigned { PRZKL_CACHE = 0x10000, PRZKL_REBOOT = 0x20000, PRZKL_DEFAULT = 0x30000 };

/// Types of values. A text's length counts its NUL, which a foreign writer may have left out.
enum przks_dtype : int {
    przks_dtype_NOVALUE = 0,  ///< length 0; what a key answers that was given no value
    przks_dtype_UB4 = 1,      ///< 4 bytes
    przks_dtype_UBIG_ZEL = 2, ///< 8 bytes
    przks_dtype_ZELTEXT = 3,
    przks_dtype_MULTI_ZELTEXT = 4,
    przks_dtype_BYTESTREAM = 5,
};

/// Longest value in bytes.
inline constexpr unsigned PRZKS_MAX_VALUE = 65535;
/// Longest whole name in bytes: a bound against nonsense, far above what anybody types.
inline constexpr unsigned PRZKS_MAX_NAME = 65535;
/// Longest component as it stands on disk, where bytes other than printable ASCII take three.
inline constexpr unsigned PRZKS_MAX_COMPONENT = 255;
/// Size of the error texts of the operations that open or create, with their NUL.
inline constexpr unsigned PRZKS_ERRORTEXT_SIZE = 1024;
/// A lock is held for a few file operations; one held longer is somebody's fault.
inline constexpr int PRZKS_LOCK_WAIT_MS = 10000;

/// Whose a key is. Of the mode the read and write bits (0666) count and are reported. Read: the
/// value, the names of sub-keys, and the way to them. Write: the value, and creating, deleting and
/// moving sub-keys. The kernel enforces it: keys are files and folders of that owner and mode.
struct przks_security {
    std::uint32_t uid;
    std::uint32_t gid;
    std::uint32_t mode;
};

// Contexts

enum : unsigned {
    /// Changes become durable with przks_sync instead of one by one: for building many keys under
    /// a staging key that przks_sync makes durable before przks_move_key publishes it.
    PRZKS_INIT_BULK = 1,
};

/// Further wishes for przks_init_ext2.
struct przks_init_arg {
    unsigned flags = 0;        ///< PRZKS_INIT_...
    const char* url = nullptr; ///< a store of the caller's choice instead of node.conf's
};

/// Opens a context. On failure *ctx is null, `errorText` (PRZKS_ERRORTEXT_SIZE bytes; may be null)
/// says why, empty for PRZKS_NOSTORE only, and *error (may be null) is the system's error number
/// or 0. On success the text is empty.
int przks_init_ext(przks_ctx** ctx, unsigned level, char* errorText, int* error, unsigned flags);
/// The same; `arg` is null or a przks_init_arg, which is not kept.
int przks_init_ext2(przks_ctx** ctx, unsigned level, char* errorText, int* error, void* arg);
/// Null is allowed. Operations that other threads are inside of end normally.
int przks_terminate(przks_ctx* ctx);

/// Makes a store (`url` null: the cluster registry's of node.conf) with an empty root key of that
/// security (null: the caller's own, mode 0644). The folder may exist if it is empty; the one above
/// must exist. PRZKS_EXISTS when a store is there already.
int przks_create_store(const char* url, const przks_security* security, char* errorText,
                       int* error);

/// Copies the text of the calling thread's last failure on `ctx` (null: the last call without a
/// usable context), cut to `size` with its NUL; empty when there was none.
int przks_get_last_error(przks_ctx* ctx, char* buffer, unsigned size);

// Keys

/// Opens an existing key; the handle is to be closed with przks_close_key.
int przks_open_key(przks_ctx* ctx, const char* name, przks_key** key, przks_key* parent = nullptr);
/// Closes and frees the handle, also when it answers PRZKS_DEFAULT_LOST. Null, and a handle that is
/// closed already, answer PRZKS_OK: the call may be repeated after PRZKS_DEFAULT_LOST.
int przks_close_key(przks_ctx* ctx, przks_key* key);

/// Copies the value. *length in: size of `buffer`; out: length of the value, on PRZKS_SHORTBUF too.
/// A key without a value answers przks_dtype_NOVALUE and length 0. `type` may be null; `buffer` may
/// be null when *length is 0.
int przks_get_value(przks_ctx* ctx, przks_key* key, przks_dtype* type, void* buffer,
                    unsigned* length);
int przks_set_value(przks_ctx* ctx, przks_key* key, przks_dtype type, const void* value,
                    unsigned length);

/// Creates a key without a value; PRZKS_EXISTS when it exists, PRZKS_NOTFOUND when the key above
/// does not. `parent` null: `name` is complete. `security` null: owner, group and mode of the key
/// above, where the caller may give them away, else the caller's own with that mode. `key` may be
/// null, then no handle is left open.
int przks_create_key(przks_ctx* ctx, przks_key* parent, const char* name,
                     const przks_security* security, przks_key** key);
/// Creates what is missing of the key and the keys above it, then sets its value; a reader never
/// finds the key without one. `parent` itself is not created: PRZKS_NOTFOUND once it is gone. The
/// security is for keys that are created here; an existing key keeps its own.
int przks_create_n_set_key(przks_ctx* ctx, przks_key* parent, const char* name,
                           const przks_security* security, przks_dtype type, const void* value,
                           unsigned length, przks_key** key);

enum : unsigned { PRZKS_DELETE_TREE = 1 };
/// Deletes a key; with PRZKS_DELETE_TREE its sub-keys too, else PRZKS_HASSUBKEYS when it has any.
/// The handle stays open. One step for readers: nobody finds half a tree under the name.
int przks_delete_key(przks_ctx* ctx, przks_key* key, unsigned option = 0);

enum : unsigned {
    /// A key that exists at the target is replaced in one step, and deleted after that: until then,
    /// or for good when the writer is killed between the two, it is found under the moved key's old
    /// name.
    PRZKS_MOVE_REPLACE = 1,
};
/// Moves a key with its sub-keys under `newParent` (null: `newName` is complete) in one step. The
/// handle names the key at its new place then. PRZKS_EXISTS when the target exists.
int przks_move_key(przks_ctx* ctx, przks_key* key, przks_key* newParent, const char* newName,
                   unsigned flags = 0);

/// The name of the index-th direct sub-key, in byte order. The list is taken when the handle is
/// first used for this and then stays the same; open the key again for a fresh one. *length in:
/// size of `name`; out: length of the name without its NUL, on PRZKS_SHORTBUF too. Past the last:
/// PRZKS_NOMORE.
int przks_enum_subkey(przks_ctx* ctx, przks_key* key, unsigned index, char* name, unsigned* length);

int przks_get_key_security(przks_ctx* ctx, przks_key* key, przks_security* security);
/// Changes this key only; sub-keys keep theirs. For the key's owner (mode) and the superuser.
int przks_set_key_security(przks_ctx* ctx, przks_key* key, const przks_security* security);

// For programs that serve a registry's content

/// Told of one sub-key: PRZKS_OK with its value (a key without one: przks_dtype_NOVALUE, length 0),
/// or why that cannot be read (`value` null). What the pointers show holds during the call. It may
/// use the registry itself. Another result than 0 ends the reading.
using przks_visitor = int (*)(void* arg, const char* name, int status, przks_dtype type,
                              const void* value, unsigned length);
/// Reads the values of all direct sub-keys, in byte order of their names, for less than opening
/// each costs. Each value is whole; together they are of one moment only if nobody changes them.
/// Sub-keys that go away meanwhile are passed over. Answers what `visit` answered when that is not
/// 0. PRZKS_NOTFOUND when the key itself was deleted or moved meanwhile, PRZKS_BUSY when another
/// took its place: what was told is void then, and for PRZKS_BUSY to be read again.
int przks_read_subkeys(przks_ctx* ctx, przks_key* key, przks_visitor visit, void* arg);

/// Makes every change durable that was made before the call, whoever made it.
int przks_sync(przks_ctx* ctx);
/// Removes what killed writers left behind. Opening needs it not; a daemon calls it at its start.
int przks_clean(przks_ctx* ctx);

enum przks_change : int {
    PRZKS_CHANGE_NONE = 0,   ///< the time ran out
    PRZKS_CHANGE_SUBKEY = 1, ///< something at or below the named direct sub-key
    PRZKS_CHANGE_SELF = 2,   ///< the watched key's own value or security
    PRZKS_CHANGE_ALL = 3,    ///< changes were lost, or the key came or went: read everything again
};

/// Folders that a watcher asks the kernel to watch when the caller gives no bound. A key with
/// sub-keys, or made without a value, is one folder. What is above the bound (the caller's, or the
/// kernel's for the user) is looked at in turn instead, PRZKS_WATCH_LOOKS_PER_SECOND at a time.
inline constexpr unsigned PRZKS_WATCH_FOLDERS = 100000;
inline constexpr unsigned PRZKS_WATCH_LOOKS_PER_SECOND = 1000;

/// Watches a key and everything below it, for changes by any process including this one. Changes
/// made after the call are reported. `folders` 0: PRZKS_WATCH_FOLDERS. A watcher does not depend on
/// its context afterwards, ignores whether the service is down, and is for one thread at a time.
int przks_watch(przks_ctx* ctx, const char* name, unsigned folders, przks_watcher** watcher);
/// A descriptor that polls readable when przks_watch_next should be called; the watcher's own.
/// -1 for null.
int przks_watch_descriptor(przks_watcher* watcher);
/// The next change, waiting up to `timeout_ms` (0: not at all, negative: without end). Several
/// changes below one direct sub-key may be reported as one. `name` holds the direct sub-key for
/// PRZKS_CHANGE_SUBKEY, else ""; *length as for przks_enum_subkey: PRZKS_SHORTBUF keeps the change.
int przks_watch_next(przks_watcher* watcher, int timeout_ms, przks_change* change, char* name,
                     unsigned* length);
/// Null is allowed.
int przks_watch_close(przks_watcher* watcher);
