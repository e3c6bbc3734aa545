#pragma once

#include <cstddef>
#include <cstdint>

/// The error record of the operating-system layer: what failed, where, and the system's own error
/// number. Its layout is fixed because separately built layers fill and read the same record.
/// All three texts are NUL-terminated, whoever filled the record.
struct slos {
    std::int32_t category;
    char operation[33];
    char location[13];
    char other[162];
    std::int32_t oserror;
};

static_assert(sizeof(slos) == 216);
static_assert(offsetof(slos, operation) == 4);
static_assert(offsetof(slos, location) == 37);
static_assert(offsetof(slos, other) == 50);
static_assert(offsetof(slos, oserror) == 212);

/// What kind of failure a record tells of.
enum slos_category : std::int32_t {
    SLOS_NONE = 0,
    SLOS_SYSTEM = 1,        ///< a system call failed; `oserror` tells why
    SLOS_CONFIGURATION = 2, ///< the node's configuration file is missing or wrong
    SLOS_IDENTITY = 3,      ///< a user or group could not be looked up
};

/// Fills `err` (null is allowed: nothing happens), cutting texts that do not fit.
void slos_fill(slos* err, std::int32_t category, const char* operation, const char* location,
               std::int32_t oserror, const char* other);

/// Empties `err` (null is allowed).
void slos_clear(slos* err);
