#pragma once

#include "tav/cluster/clsclu.h"

/// The cluster information layer's process-wide side: one context, and requests by number.

enum clu_command : int {
    CLU_INFO_MEMBSTATE = 2,         ///< int size, char* states: 1 for each node that is up
    CLU_INFO_MAX_MEMBERID = 3,      ///< int* three: 0, the highest member number, the slots
    CLU_INFO_CLU_NAME = 6,          ///< char* buffer, int size
    CLU_INFO_INTERCONNECT = 8,      ///< const char* name, char* buffer, int size: the name, cut
    CLU_INFO_MEMBERID_BY_NAME = 10, ///< const char* name, int* number
    CLU_INFO_NODENAME_BY_ID = 13,   ///< int number, char* buffer, int size
    CLU_INFO_MY_ID = 16,            ///< int* number
};

/// Creates the process's context once. `quord` may be null: the layer then starts the service
/// itself; `trace` may be null. 0 on success, otherwise the service's status.
int clu_ctxinit(clsssctx* quord, skgcb* trace);
int clu_is_ready();
/// 1 when this node is up.
int clu_is_member();
/// The requests above: 0, or non-zero when one fails, is none, or there is no context.
int clu_info(int command, ...);
/// A record of all slots, released with clu_free_info.
int clu_get_info(clu_gen_info** info);
int clu_free_info(clu_gen_info** info);

/// The process's context, null until there is one; the service that the layer started for it.
clscluctx* clugetctx();
clsssctx* clu_getclsssctx();
