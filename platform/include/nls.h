#pragma once

#include <cstddef>
#include <cstdint>

/// Languages and message catalogs.
///
/// Catalogs are POSIX message catalogs, one file per product, language and facility:
/// HOME/product/mesg/language/FACILITY.cat, all texts in set 1 under the message's number. HOME is
/// clse_zelmar_home() when a handle's first text is asked for. For the language de_AT.UTF-8 the
/// folders de_AT, de and en are tried; "C", "POSIX" and the empty name are en. A number that one
/// folder's catalog lacks is taken from the next. Nothing is opened before the first text is asked
/// for; a damaged catalog is a missing one. A handle is used by one thread at a time.

struct lxload;
struct lxglo {
    int type; ///< 5 asks for the special initialisation; never so here
};
struct lxhnd;
struct lxlang;
struct ldxctx {
    void (*error_callback)();
};

/// A message handle. `error` is non-zero when it could not be set up.
struct lmshdl {
    int error;
    void* impl;
};

lxload* lxldini(unsigned zero);
lxglo* lxlinit(lxload*, unsigned zero, unsigned* error);
lxhnd* lxinitc(lxglo*, unsigned, unsigned, unsigned);
/// A language by name, at most `length` bytes of it; names that could leave the catalog folder
/// (anything but letters, digits and "_@.-") mean English. The handle lives as long as the process,
/// which keeps a bounded number of languages: beyond it every further name means English.
lxlang* lxhLaToId(const char* language, std::size_t length, lxglo*);
/// The environment's language: the first non-empty of LC_ALL, LC_MESSAGES, LANG.
lxlang* lxhLangEnv(lxglo*);
/// Release; 0 on success, null is allowed. lxlterm frees what lxlinit and lxinitc made.
int lxlterm(lxglo*);
int lxldfcb(lxload*);
int ldxbegin(ldxctx*, lxlang*, lxglo*, void (*errorCallback)());

/// Sets up a message handle for a product and facility. Only an impossible name is an error: a
/// catalog that is missing shows when a text is asked for.
void lmsaicmt(lmshdl*, const char* product, const char* facility, lxlang*, lxglo*);
void* lmsacin(void* buffer, std::size_t size, unsigned eight);
int lmsacbn(lmshdl*, void* buffer, unsigned one);
/// Releases what lmsaicmt set up; the handle is empty afterwards. Null and empty are allowed.
void lmsatrm(lmshdl*);

enum lms_status : int {
    LMS_FOUND = 0,
    LMS_NOT_FOUND = 1,
    LMS_FOUND_ALERT = 2, ///< taken from English although the language has a catalog of its own
    LMS_FOUND_CUT = 3,   ///< the text was cut to the buffer
};

/// Fetches a text into `buffer` (always terminated; a cut splits no UTF-8 sequence). *message
/// becomes `buffer`, *attribute 0, *status one of lms_status. `work` is not used.
void lmsagbcmt(lmshdl*, int number, char* buffer, std::size_t size, char** message, char* work,
               std::size_t workSize, int* attribute, int* status);

/// Upper-cases ASCII letters of `in` into `out` of `size` bytes, always terminated; returns the
/// length written.
std::size_t lstup(char* out, std::size_t size, const char* in);
/// 0 when two language names are equal but for the case of ASCII letters; null equals "".
int lstclo(const char* a, const char* b);
/// A random number; 0 on success.
int ztcr2ub4(std::uint32_t* value);
