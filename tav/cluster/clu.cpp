#include "tav/cluster/clu.h"

#include "platform/include/memory_manager.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

namespace {

constinit cls_thrIMx cluctx_mutex; ///< creating and looking up what follows
constinit clscluctx* s_context = nullptr;
constinit clsssctx* s_service = nullptr; ///< started by the layer, and never ended

constexpr std::uint16_t VERSION[] = {2, 0, 1, 0};
constinit int s_tracing = 1;
constinit skgcb s_trace{clsclu_trc};

int start_service(lpmctx* memory, skgcb* trace, clsssctx*& service) {
    char error[CLSSS_ERROR_SIZE];
    const clsss_parameters parameters{memory,
                                      clsclu_malloc,
                                      clsclu_mfree,
                                      0,
                                      0,
                                      CLSSS_CLIENT_KIND,
                                      trace != nullptr ? trace : &s_trace,
                                      &s_tracing};
    const int status = clsssinit(error, &service, VERSION, &parameters, CLSSS_MODE_INFORMATION);
    if (status != 0) clsssterm(service);
    return status;
}

int copy_name(const char* name, char* buffer, int size) {
    if (name == nullptr || buffer == nullptr || size <= 0) return 1;
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", name);
    return 0;
}

int tell_slots(const clscluctx& context, int* three) {
    if (three == nullptr) return 1;
    three[0] = 0;
    three[1] = context.mxclsz_clscluctx - 1;
    three[2] = context.mxclsz_clscluctx;
    return 0;
}

int tell_own_number(const clscluctx& context, int* number) {
    if (number == nullptr) return 1;
    *number = context.lnode_clscluctx;
    return 0;
}

/// Takes a command's arguments in their order and serves it.
int serve(clscluctx& context, int command, std::va_list arguments) {
    switch (command) {
    case CLU_INFO_MEMBSTATE: {
        const int size = va_arg(arguments, int);
        return clsclu_membstate(&context, size, va_arg(arguments, char*));
    }
    case CLU_INFO_MAX_MEMBERID:
        return tell_slots(context, va_arg(arguments, int*));
    case CLU_INFO_CLU_NAME: {
        char* const buffer = va_arg(arguments, char*);
        return clsclu_clu_name(&context, buffer, va_arg(arguments, int));
    }
    case CLU_INFO_INTERCONNECT: {
        const char* const name = va_arg(arguments, const char*);
        char* const buffer = va_arg(arguments, char*);
        return copy_name(name, buffer, va_arg(arguments, int));
    }
    case CLU_INFO_MEMBERID_BY_NAME: {
        const char* const name = va_arg(arguments, const char*);
        return clsclu_memberid_by_name(&context, name, va_arg(arguments, int*));
    }
    case CLU_INFO_NODENAME_BY_ID: {
        const int number = va_arg(arguments, int);
        char* const buffer = va_arg(arguments, char*);
        return clsclu_nodename_by_id(&context, number, buffer, va_arg(arguments, int));
    }
    case CLU_INFO_MY_ID:
        return tell_own_number(context, va_arg(arguments, int*));
    default:
        return 1;
    }
}

} // namespace

int clu_ctxinit(clsssctx* quord, skgcb* trace) {
    lpmctx* const memory = lpminit(0);
    const StaticLock lock(cluctx_mutex);
    if (s_context != nullptr) return 0;
    clsssctx* service = quord;
    if (service == nullptr)
        if (const int status = start_service(memory, trace, service); status != 0) return status;
    const int status = clsclu_init(&s_context, service, nullptr, clsclu_malloc, clsclu_mfree);
    if (quord == nullptr && status == 0) s_service = service;
    if (quord == nullptr && status != 0) clsssterm(service);
    return status;
}

clscluctx* clugetctx() {
    const StaticLock lock(cluctx_mutex);
    return s_context;
}

clsssctx* clu_getclsssctx() {
    const StaticLock lock(cluctx_mutex);
    return s_service;
}

int clu_is_ready() {
    return clugetctx() != nullptr ? 1 : 0;
}

int clu_is_member() {
    int number = 0;
    int slots[3] = {};
    if (clu_info(CLU_INFO_MY_ID, &number) != 0 || clu_info(CLU_INFO_MAX_MEMBERID, slots) != 0)
        return 0;
    std::vector<char> states(static_cast<std::size_t>(slots[2]));
    if (clu_info(CLU_INFO_MEMBSTATE, slots[2], states.data()) != 0) return 0;
    return states.at(static_cast<std::size_t>(number)) == 1 ? 1 : 0;
}

int clu_info(int command, ...) {
    clscluctx* const context = clugetctx();
    if (context == nullptr) return 1;
    std::va_list arguments;
    va_start(arguments, command);
    const int result = serve(*context, command, arguments);
    va_end(arguments);
    return result;
}

int clu_get_info(clu_gen_info** info) {
    clscluctx* const context = clugetctx();
    return context == nullptr ? 1 : clsclu_get_info(context, info);
}

int clu_free_info(clu_gen_info** info) {
    clscluctx* const context = clugetctx();
    return context == nullptr ? 1 : clsclu_free_info(context, info);
}
