#pragma once

#include "platform/include/threads.h"

#include <cstddef>

/// Configuration lookup: the process environment first, and for the installation home the cluster
/// registry behind it. Answers are kept for the life of the process, so the first answer wins and
/// its address never changes. Thread-safe.
///
/// The registry is opened when something is first asked of it, at the DEFAULT level, else at the
/// REBOOT level; it goes on at REBOOT while DEFAULT is lost. What the registry client fails at is
/// printed to standard output; that there is no registry at all is not. When DEFAULT is lost and
/// REBOOT cannot be had either, the process ends with status 1.

/// Longest name and longest value, without the NUL.
inline constexpr std::size_t CLSENV_MAX = 511;
/// Bytes that clsgetconnstr may fill.
inline constexpr std::size_t CLSGETCONNSTR_SIZE = 256;
/// The one variable that the registry also holds.
inline constexpr char CLSGENV_HOME[] = "ZEL_VORN_HOME";

/// One entry of the table of answers. Entries are appended and then never changed or freed.
struct clsenv {
    char clsenv_key[CLSENV_MAX + 1];
    char clsenv_val[CLSENV_MAX + 1];
    clsenv* clsenv_nxt;
};

/// The table's head, whose own key and value stay empty, and the mutex that guards the table.
extern clsenv clsenvdummy;
extern cls_thrIMx clsEnvMutex;

/// The value of a configuration variable, cut to CLSENV_MAX bytes; null when it is neither in the
/// environment (where an empty value counts as unset) nor in the registry. A null is not kept: a
/// later call asks again. A null name and a name longer than CLSENV_MAX, which could not be kept,
/// are answered with null. The text lives until the process ends.
const char* clsgenv(const char* name);

/// The kept entry, null when there is none. Borrowed.
clsenv* clsenvlookup(const char* name);
/// Appends an entry, which then belongs to the table.
void clsenvadd(clsenv* entry);

/// The registry's value of a variable into `value` of CLSENV_MAX + 1 bytes: 0 when found, -1 for
/// every name but the home, 1 when no registry context can be opened, else the client's status
/// (PRZKS_NOTFOUND for an empty value too, PRZKS_SHORTBUF when it does not fit with its NUL).
/// `value` is the empty text then.
int clsgenvzks(const char* name, char* value);

/// The registry's value of `key` into `value` of CLSGETCONNSTR_SIZE bytes; 0, or 1 on any failure
/// (an empty value and one that does not fit are failures), when `value` is the empty text.
int clsgetconnstr(const char* key, char* value);

/// Hands the installation home to the cluster's environment services; 0, or 1 on failure.
int clssetzelmarhome(const char* home);

/// Opens the registry context unless one is open; 0, or 1 on failure.
int clsgenvinit();
/// Closes the registry context once nobody uses it; without one it does nothing. The next use opens
/// a new one.
void clsgenvterm();
