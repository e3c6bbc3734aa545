// A program in C11 that uses the event library as a stranger would: through evm.h and libevm.so.
// usage: c_client        prints a status text, then a formatted event
#include "evm/libevm/evm.h"

#include <stdlib.h>
#include <string.h>

_Static_assert(sizeof(EvmStatus_t) == 4 && sizeof(EvmItemId_t) == 4 && sizeof(EvmBoolean_t) == 4,
               "enumerations are 32 bits wide in both languages");
_Static_assert(sizeof(EvmEventHead_t) == 120 && sizeof(EvmVarHead_t) == 24, "record layout");
_Static_assert(sizeof(EvmItemValue_t) == 8 && sizeof(EvmVarStruct_t) == 32, "value layout");

static void require(int condition, const char* what) {
    if (condition) return;
    fprintf(stderr, "c_client: %s\n", what);
    exit(1);
}

int main(void) {
    EvmEvent_t event = NULL;
    char text[200];
    char* value = NULL;
    EvmVarStruct_t variable = {EvmTYPE_UINT16, "port", {.UINT16 = 6190}, 0, 0};
    require(EvmEventCreateVa(&event, EvmITEM_NAME, "a.b", EvmITEM_PID, (int64_t)42, EvmITEM_VAR,
                             &variable, EvmITEM_VAR_STRING, "text", "hello", EvmITEM_FORMAT,
                             "@pid ${text} $port @kernel_only", EvmITEM_NONE) == EvmERROR_NONE,
            "create");
    require(EvmVarGetString(event, "text", &value, NULL) == EvmERROR_NONE, "read");
    require(strcmp(value, "hello") == 0, "value");
    free(value);
    require(EvmStatusTextGet(EvmERROR_INVALID_VALUE, text, sizeof text) == EvmERROR_NONE, "status");
    puts(text);
    require(EvmEventFormat(text, sizeof text, event) == EvmERROR_NONE, "format");
    puts(text);
    require(EvmEventDestroy(event) == EvmERROR_NONE, "destroy");
    require(EvmEventDestroy(event) == EvmERROR_INVALID_VALUE, "destroy twice");
    return 0;
}
