#include "tav/registry/clsgenv.h"

#include <cstring>

// The registry's side of the configuration lookup. Without a registry client no context can be
// opened, which every operation reports in its own way.

int clsgenvinit() {
    return 1;
}

void clsgenvterm() {}

int clsgenvzks(const char* name, char* value) {
    value[0] = '\0';
    if (std::strcmp(name, CLSGENV_HOME) != 0) return -1;
    return clsgenvinit();
}

int clsgetconnstr(const char* /*key*/, char* value) {
    value[0] = '\0';
    return clsgenvinit();
}
