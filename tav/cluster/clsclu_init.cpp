#include "platform/include/memory_manager.h"
#include "tav/cluster/clscluParts.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

constexpr const char* COMPONENT = "CLSCLU";
constexpr std::size_t TRACE_LINE_SIZE = 512;
constexpr int OUT_OF_MEMORY = 1;
constexpr unsigned ATTRIBUTES[] = {CLSSS_NODE_SLOTS, CLSSS_GROUP_MEMBERS, CLSSS_NODE_NAME_SIZE};

int start_diagnostics(clscluctx* context) {
    int ecode = 0;
    const int rc = clsdinit("clsclu", "client", &ecode);
    if (rc != 0)
        return clsclu_fail(context, rc, "clsclu_init: CLSD initialization failed, rc %d, ecode %d",
                           rc, ecode);
    context->compid_clscluctx = clsdcompreg("CLSCLU layer", COMPONENT, 0, 0, 0, nullptr);
    if (context->compid_clscluctx == nullptr)
        return clsclu_fail(context, 1, "clsclu_init: clsdcompreg (CLSCLU) failed");
    return 0;
}

int start_service(clscluctx* context) {
    if (context->quordctx_clscluctx != nullptr) return 0;
    char error[CLSSS_ERROR_SIZE];
    const int rc =
        clsssinit(error, &context->quordctx_clscluctx, nullptr, nullptr, CLSSS_MODE_INFORMATION);
    if (rc != 0) return clsclu_fail(context, rc, "clsclu_init: QUORD init failed, rc %d", rc);
    context->flags_clscluctx |= CLSCLU_OWN_SERVICE;
    return 0;
}

int ask_numbers(clscluctx* context) {
    clsssctx* const quord = context->quordctx_clscluctx;
    int rc = clssnsqlnum(quord, &context->lnode_clscluctx);
    if (rc != 0) return clsclu_fail(context, rc, "clsclu_init: clssnsqlnum failed, rc %d", rc);
    std::uint32_t values[std::size(ATTRIBUTES)] = {};
    for (std::size_t i = 0; i < std::size(ATTRIBUTES); ++i) {
        rc = clsssattrib(quord, ATTRIBUTES[i], &values[i]);
        if (rc != 0)
            return clsclu_fail(context, rc, "clsclu_init: clsssattrib failed %u, rc %d",
                               ATTRIBUTES[i], rc);
    }
    context->mxclsz_clscluctx = static_cast<clss_node>(values[0]);
    context->mxgrsz_clscluctx = static_cast<clss_node>(values[1]);
    context->nodenl_clscluctx = values[2];
    return 0;
}

int list_nodes(clscluctx* context) {
    context->cfgmap_clscluctx = clsclu_new<clss_bits>(context);
    context->mmap_clscluctx = clsclu_new<clssgsmap>(context);
    if (context->cfgmap_clscluctx == nullptr || context->mmap_clscluctx == nullptr)
        return clsclu_fail(context, OUT_OF_MEMORY, "clsclu_init: malloc failed, rc %d",
                           OUT_OF_MEMORY);
    const int rc = clssnsNodeList(context->quordctx_clscluctx, context->cfgmap_clscluctx,
                                  &context->cfnodes_clscluctx);
    if (rc != 0) return clsclu_fail(context, rc, "clsclu_init: clssnsNodeList failed, rc %d", rc);
    return 0;
}

int make_mutex(clscluctx* context) {
    if (sltsmxi(context->scx_clscluctx, &context->mutex_clscluctx) != 0)
        return clsclu_fail(context, 1, "clsclu_init: mutex initialization failed");
    context->mutex_ready = true;
    return 0;
}

/// Asks for the cluster's name into a new buffer of the length that the context gives.
int ask_name(clscluctx* context) {
    clsclu_drop(context, context->clname_clscluctx);
    context->clname_clscluctx = clsclu_new<char>(context, context->clnmlen_clscluctx);
    if (context->clname_clscluctx == nullptr)
        return clsclu_fail(context, OUT_OF_MEMORY, "clsclu_init: malloc failed, rc %d",
                           OUT_OF_MEMORY);
    return clssnsqclname(context->quordctx_clscluctx, context->clname_clscluctx,
                         &context->clnmlen_clscluctx);
}

int ask_cluster_name(clscluctx* context) {
    context->clnmlen_clscluctx = CLSCLU_NAME_SIZE;
    int rc = ask_name(context);
    if (rc == CLSS_TOO_SHORT) rc = ask_name(context);
    if (rc != 0) return clsclu_fail(context, rc, "clsclu_init: clssnsqclname quord ret %d", rc);
    const std::size_t size =
        std::strlen(context->clname_clscluctx) + std::strlen(CLSS_NODE_GROUP_SUFFIX) + 1;
    context->cgnmlen_clscluctx = static_cast<std::uint32_t>(size);
    context->cgname_clscluctx = clsclu_new<char>(context, size);
    if (context->cgname_clscluctx == nullptr)
        return clsclu_fail(context, OUT_OF_MEMORY, "clsclu_init: malloc failed, rc %d",
                           OUT_OF_MEMORY);
    std::snprintf(context->cgname_clscluctx, size, "%s%s", context->clname_clscluctx,
                  CLSS_NODE_GROUP_SUFFIX);
    return 0;
}

int ask_group(clscluctx* context) {
    const int rc = clsclu_getinfo(context);
    return rc == 0 ? 0 : clsclu_fail(context, rc, "clsclu_init: clsclu_getinfo failed");
}

int fill(clscluctx* context) {
    for (const auto step : {start_diagnostics, start_service, ask_numbers, list_nodes, make_mutex,
                            ask_cluster_name, ask_group})
        if (const int rc = step(context); rc != 0) return rc;
    return 0;
}

} // namespace

int clsclu_init(clscluctx** context, clsssctx* quord, lslmc* memory, clsclu_allocate allocate,
                clsclu_release release) {
    if (context == nullptr || allocate == nullptr || release == nullptr) return 1;
    *context = nullptr;
    auto* const made = static_cast<clscluctx*>(allocate(memory, sizeof(clscluctx)));
    if (made == nullptr) return OUT_OF_MEMORY;
    *made = {};
    made->majik_clscluctx = CLSCLU_MAGIC;
    made->quordctx_clscluctx = quord;
    made->mmctx_clscluctx = memory;
    made->malloc_clscluctx = allocate;
    made->mfree_clscluctx = release;
    made->trcfn_clscluctx = clsclu_trc;
    made->scx_clscluctx = sltsini();
    if (const int rc = fill(made); rc != 0) {
        clsclu_fail(made, rc, "clsclu_init: rc %d", rc);
        clsclu_term(made);
        return rc;
    }
    *context = made;
    return 0;
}

int clsclu_term(clscluctx* context) {
    if (!clsclu_valid(context)) return 1;
    clsclu_free_info(context, &context->geninfo_clscluctx);
    int rc = 0;
    if ((context->flags_clscluctx & CLSCLU_OWN_SERVICE) != 0 &&
        clsssterm(context->quordctx_clscluctx) != 0)
        rc = 1;
    for (void* const block : {static_cast<void*>(context->cfgmap_clscluctx),
                              static_cast<void*>(context->mmap_clscluctx),
                              static_cast<void*>(context->clname_clscluctx),
                              static_cast<void*>(context->cgname_clscluctx)})
        clsclu_drop(context, block);
    if (context->mutex_ready) slts_mxdestroy(context->scx_clscluctx, &context->mutex_clscluctx);
    context->majik_clscluctx = 0;
    context->mfree_clscluctx(context->mmctx_clscluctx, context);
    return rc;
}

void* clsclu_malloc(lslmc* /*memory*/, unsigned long size) {
    return std::calloc(1, size);
}

void clsclu_mfree(lslmc* /*memory*/, void* block) {
    std::free(block);
}

int clsclu_trc(skgcbctx* callback, const char* format, ...) {
    if (callback != nullptr && callback->tracing == 0) return 0;
    char line[TRACE_LINE_SIZE];
    std::va_list arguments;
    va_start(arguments, format);
    skgovprint(line, sizeof line, format, arguments);
    va_end(arguments);
    return clsdprintft(clsdgetcompid(COMPONENT), 0, "%s", line);
}

int clsclu_fail(const clscluctx* context, int status, const char* format, ...) {
    if (context->trclvl_clscluctx < 0) return status;
    char line[TRACE_LINE_SIZE];
    std::va_list arguments;
    va_start(arguments, format);
    skgovprint(line, sizeof line, format, arguments);
    va_end(arguments);
    clsdprint(context->compid_clscluctx, 0, line);
    return status;
}

void* clsclu__malloc(clscluctx* context, std::size_t size) {
    void* const block = context->malloc_clscluctx(context->mmctx_clscluctx, size);
    if (block == nullptr)
        clsclu_fail(context, 1, "clsclu__malloc: malloc failed, sz %d", static_cast<int>(size));
    return block;
}

void clsclu_drop(clscluctx* context, void* block) {
    if (block != nullptr) context->mfree_clscluctx(context->mmctx_clscluctx, block);
}

char* clsclu_copy(clscluctx* context, const char* text) {
    const std::size_t size = std::strlen(text) + 1;
    char* const copy = clsclu_new<char>(context, size);
    if (copy != nullptr) std::memcpy(copy, text, size);
    return copy;
}
