#pragma once

#include "platform/include/clss.h"
#include "platform/include/diagnostics.h"
#include "platform/include/threads.h"

#include <cstdint>

/// The cluster information layer: what a process learned of the cluster when it started, and the
/// membership as the synchronization service tells it now. Plain records, because callers in other
/// languages share them; texts and arrays in them come from the context's memory callbacks.

inline constexpr std::uint32_t CLSCLU_MAGIC = 0x436C5563;
/// Bit of flags_clscluctx: the layer started the service itself and ends it.
inline constexpr std::uint32_t CLSCLU_OWN_SERVICE = 1;
/// Size of the first buffer for the cluster's name; a longer name is asked for again.
inline constexpr std::uint32_t CLSCLU_NAME_SIZE = 100;

struct clu_member_info {
    char* hostname; ///< null in a slot that no node is configured for
    char *cluintername, *cluinteraddr, *base_version, *clu_version, *cnx_nodename;
    int memberid;
    int running_vers, state, cnx_state, comm_state; ///< state: 1 up, 0 not
    unsigned long incarn;
    unsigned int csid;
    int expected_votes, votes;
    unsigned int vers;
    unsigned long mtime, umtime;
    unsigned long spare[8];
};

struct clu_gen_info {
    int clu_num_of_members; ///< slots of memblist, by node number
    int my_memberid;
    char* clu_name;
    unsigned long incarn;
    int spare;
    long current_votes;
    unsigned long qdisk;
    int qdisk_votes;
    char* qdisk_name;
    long cev;
    clu_member_info* memblist;
};

using clsclu_allocate = void* (*)(lslmc*, unsigned long size);
using clsclu_release = void (*)(lslmc*, void* block);

struct clscluctx {
    std::uint32_t majik_clscluctx;
    std::uint32_t flags_clscluctx;
    clsssctx* quordctx_clscluctx;
    sltsctx* scx_clscluctx;
    lslmc* mmctx_clscluctx;
    clsclu_allocate malloc_clscluctx; ///< gives zeroed blocks
    clsclu_release mfree_clscluctx;
    std::uint16_t resvd1_clscluctx;
    std::int16_t trclvl_clscluctx; ///< trace lines are written when it is not negative
    int (*trcfn_clscluctx)(skgcbctx*, const char* format, ...)
        __attribute__((format(printf, 2, 3)));
    void* trcctx_clscluctx;
    clss_node lnode_clscluctx;
    clss_node mxgrsz_clscluctx;
    clss_node mxclsz_clscluctx;
    std::uint32_t nodenl_clscluctx;
    clsdcomp* compid_clscluctx;
    clss_bits* cfgmap_clscluctx;
    clss_node cfnodes_clscluctx;
    std::uint32_t clnmlen_clscluctx;
    char* clname_clscluctx;
    std::uint32_t cgnmlen_clscluctx;
    char* cgname_clscluctx;
    clssgs_incarnation incinf_clscluctx;
    slts_mx mutex_clscluctx;
    bool mutex_ready; ///< the mutex was initialised
    clu_gen_info* geninfo_clscluctx;
    void* ghdl_clscluctx;
    clssgsmap* mmap_clscluctx;
};

/// Makes a context. Without a service one is started. On failure *context is null, everything is
/// released and the reason stands in the diagnostic log under "CLSCLU".
int clsclu_init(clscluctx** context, clsssctx* quord, lslmc* memory, clsclu_allocate allocate,
                clsclu_release release);
/// Releases the context; records that were handed out stay their takers', but for the last one.
int clsclu_term(clscluctx* context);

/// A new record, released with clsclu_free_info.
int clsclu_get_info(clscluctx* context, clu_gen_info** info);
int clsclu_free_info(clscluctx* context, clu_gen_info** info);

/// Refreshes the membership in the context.
int clsclu_getinfo(clscluctx* context);
/// The configured nodes' states: for each number below `size` that is up the byte becomes 1.
int clsclu_membstate(clscluctx* context, int size, char* states);
/// The cluster's name, whole; otherwise 1.
int clsclu_clu_name(clscluctx* context, char* buffer, int size);
int clsclu_memberid_by_name(clscluctx* context, const char* name, int* number);
int clsclu_nodename_by_id(clscluctx* context, int number, char* buffer, int size);

/// Default memory callbacks: zeroed blocks of the C heap.
void* clsclu_malloc(lslmc*, unsigned long size);
void clsclu_mfree(lslmc*, void* block);
/// Trace callback: writes a line of the component "CLSCLU".
int clsclu_trc(skgcbctx* callback, const char* format, ...) __attribute__((format(printf, 2, 3)));
