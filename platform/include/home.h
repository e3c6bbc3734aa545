#pragma once

#include <string>

/// The cluster's environment services: they remember the installation home for the layers that
/// find their files below it (message catalogs).

struct przks_ctx;
struct clsehdl;

/// Opens a handle; the registry context may be null. 0 on success.
int clse_init(clsehdl** handle, przks_ctx* registry);
/// Records the home. 0 on success; a null or empty home is refused.
int clse_set_zelmar_home(clsehdl* handle, const char* home);
/// Null is allowed.
int clse_close(clsehdl* handle);

/// The recorded home; without one the environment variable ZEL_VORN_HOME; else empty.
std::string clse_zelmar_home();
