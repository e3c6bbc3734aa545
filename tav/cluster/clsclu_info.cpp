#include "tav/cluster/clscluParts.h"

#include <algorithm>
#include <cstring>

namespace {

/// Asks for the members of the node group; the caller holds the mutex.
int ask_members(clscluctx* context, const char* what) {
    const int rc = clssgsqgrp(context->quordctx_clscluctx, context->cgname_clscluctx,
                              context->mmap_clscluctx, &context->incinf_clscluctx);
    if (rc == 0) return 0;
    return clsclu_fail(context, rc, "%s: clssgsqgrp failed, rc %d", what, rc);
}

bool is_up(const clscluctx* context, clss_node node) {
    return context->mmap_clscluctx->grpbits_clssgsmap.test(node);
}

int fill_slot(clscluctx* context, clss_node node, clu_member_info& slot) {
    char name[NODE_CONF_NODE_NAME_MAX + 1] = {};
    std::uint32_t length = sizeof name;
    const int rc = clssnsqname(context->quordctx_clscluctx, node, name, &length);
    if (rc != 0) return rc;
    slot.memberid = node;
    slot.hostname = clsclu_copy(context, name);
    slot.state = is_up(context, node) ? 1 : 0;
    return slot.hostname == nullptr ? 1 : 0;
}

/// Refreshes what the record is made from.
int refresh(clscluctx* context) {
    const int rc = clssnsNodeList(context->quordctx_clscluctx, context->cfgmap_clscluctx,
                                  &context->cfnodes_clscluctx);
    if (rc != 0)
        return clsclu_fail(context, rc, "clsclu_get_info: clssnsNodeList failed, rc %d", rc);
    return ask_members(context, "clsclu_get_info");
}

int fill(clscluctx* context, clu_gen_info& info) {
    const clss_node slots = context->mxclsz_clscluctx;
    info.memblist = clsclu_new<clu_member_info>(context, static_cast<std::size_t>(slots));
    info.clu_name = clsclu_copy(context, context->clname_clscluctx);
    if (info.memblist == nullptr || info.clu_name == nullptr) return 1;
    info.clu_num_of_members = slots;
    info.my_memberid = context->lnode_clscluctx;
    if (const int rc = refresh(context); rc != 0) return rc;
    for (clss_node node = 0; node < slots; ++node)
        if (context->cfgmap_clscluctx->test(node))
            if (const int rc = fill_slot(context, node, info.memblist[node]); rc != 0) return rc;
    return 0;
}

/// Releases a record and all that belongs to it.
void release(clscluctx* context, clu_gen_info* info) {
    for (int i = 0; i < info->clu_num_of_members; ++i)
        clsclu_drop(context, info->memblist[i].hostname);
    clsclu_drop(context, info->memblist);
    clsclu_drop(context, info->clu_name);
    clsclu_drop(context, info);
}

} // namespace

int clsclu_getinfo(clscluctx* context) {
    if (!clsclu_valid(context)) return 1;
    const ClscluLock lock(context);
    return ask_members(context, "clsclu_getinfo");
}

int clsclu_get_info(clscluctx* context, clu_gen_info** info) {
    if (!clsclu_valid(context) || info == nullptr) return 1;
    *info = nullptr;
    const ClscluLock lock(context);
    auto* const made = clsclu_new<clu_gen_info>(context);
    if (made == nullptr) return 1;
    if (const int rc = fill(context, *made); rc != 0) {
        release(context, made);
        return rc;
    }
    context->geninfo_clscluctx = *info = made;
    return 0;
}

int clsclu_free_info(clscluctx* context, clu_gen_info** info) {
    if (!clsclu_valid(context) || info == nullptr) return 1;
    clu_gen_info* const record = *info;
    if (record == nullptr) return 0;
    const ClscluLock lock(context);
    if (context->geninfo_clscluctx == record) context->geninfo_clscluctx = nullptr;
    release(context, record);
    *info = nullptr;
    return 0;
}

int clsclu_membstate(clscluctx* context, int size, char* states) {
    if (!clsclu_valid(context) || (states == nullptr && size > 0)) return 1;
    const ClscluLock lock(context);
    if (const int rc = ask_members(context, "clsclu_membstate"); rc != 0) return rc;
    for (clss_node node = 0; node < std::min(size, context->mxclsz_clscluctx); ++node)
        if (is_up(context, node)) states[node] = 1;
    return 0;
}

int clsclu_clu_name(clscluctx* context, char* buffer, int size) {
    if (!clsclu_valid(context) || buffer == nullptr) return 1;
    // Learned at the start and not changed since.
    const std::size_t needed = std::strlen(context->clname_clscluctx) + 1;
    if (size < 0 || static_cast<std::size_t>(size) < needed)
        return clsclu_fail(context, 1, "clsclu_clu_name: buf2short");
    std::memcpy(buffer, context->clname_clscluctx, needed);
    return 0;
}

int clsclu_memberid_by_name(clscluctx* context, const char* name, int* number) {
    if (!clsclu_valid(context)) return 1;
    return clssnsqanum(context->quordctx_clscluctx, name, number);
}

int clsclu_nodename_by_id(clscluctx* context, int number, char* buffer, int size) {
    if (!clsclu_valid(context) || buffer == nullptr || size <= 0) return 1;
    auto length = static_cast<std::uint32_t>(size);
    return clssnsqname(context->quordctx_clscluctx, number, buffer, &length);
}
