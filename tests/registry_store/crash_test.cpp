#include "tests/registry_store/store_support.h"

#include <sys/ptrace.h>
#include <sys/syscall.h>

#include <set>

namespace {

/// Calls that change nothing on the disk: killed before one of them is killed after the last that
/// did.
bool only_looks(std::uint64_t call) {
    constexpr std::array LOOKING = {SYS_openat2, SYS_close,      SYS_fstat, SYS_newfstatat,
                                    SYS_flock,   SYS_getdents64, SYS_lseek, SYS_faccessat2};
    return std::find(LOOKING.begin(), LOOKING.end(), static_cast<long>(call)) != LOOKING.end();
}

/// Lets the stopped child run until it is about to make a call. False when it ended.
bool run_to_call(pid_t child, __ptrace_syscall_info& info) {
    do {
        int status = 0;
        ptrace(PTRACE_SYSCALL, child, nullptr, nullptr);
        waitpid(child, &status, 0);
        if (!WIFSTOPPED(status)) return false;
        ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof info, &info);
    } while (info.op != PTRACE_SYSCALL_INFO_ENTRY);
    return true;
}

/// Runs `work` in a child and kills it as it is about to make its `count`-th system call that may
/// change something. False when it was through before; `possible` tells whether children may be
/// stopped here at all.
bool kill_at_call(int count, const std::function<void()>& work, bool& possible) {
    const pid_t child = fork();
    if (child == 0) {
        if (ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) != 0) _exit(99);
        raise(SIGSTOP);
        work();
        _exit(0);
    }
    int status = 0;
    waitpid(child, &status, 0);
    possible = WIFSTOPPED(status);
    if (!possible) return false;
    ptrace(PTRACE_SETOPTIONS, child, nullptr, PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD);
    __ptrace_syscall_info info{};
    for (int made = 0; made < count; made += only_looks(info.entry.nr) ? 0 : 1)
        if (!run_to_call(child, info)) return false;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return true;
}

struct Change {
    const char* name;
    void (*run)(przks_ctx* ctx, const std::string& at);
    /// What a writer that was killed may leave beside the state before and the state after.
    std::set<std::string> between;
};

void move(przks_ctx* ctx, const std::string& from, const std::string& to, unsigned flags) {
    on_key(ctx, from,
           [&](przks_key* key) { return przks_move_key(ctx, key, nullptr, to.c_str(), flags); });
}

const char* const BEFORE = "f=old g=old ( x=1 y= ( z=2 ) ) r=new ( a=3 b=4 ) ";

const Change CHANGES[] = {
    {"set a file", [](przks_ctx* c, const std::string& at) { set(c, at + ".f", "new"); }, {}},
    {"set a folder", [](przks_ctx* c, const std::string& at) { set(c, at + ".g", "new"); }, {}},
    {"create",
     [](przks_ctx* c, const std::string& at) { set(c, at + ".n.m", "new"); },
     {"f=old g=old ( x=1 y= ( z=2 ) ) n= r=new ( a=3 b=4 ) "}},
    {"create below a file",
     [](przks_ctx* c, const std::string& at) { set(c, at + ".f.n", "new"); },
     {}},
    {"delete a file", [](przks_ctx* c, const std::string& at) { remove(c, at + ".f"); }, {}},
    {"delete a tree", [](przks_ctx* c, const std::string& at) { remove(c, at + ".g"); }, {}},
    {"move a tree",
     [](przks_ctx* c, const std::string& at) { move(c, at + ".r", at + ".g.y.r", 0); },
     {}},
    {"replace a tree",
     [](przks_ctx* c, const std::string& at) { move(c, at + ".r", at + ".g", PRZKS_MOVE_REPLACE); },
     {"f=old g=new ( a=3 b=4 ) r=old ( x=1 y= ( z=2 ) ) "}},
    {"change security",
     [](przks_ctx* c, const std::string& at) {
         const przks_security secret{geteuid(), getegid(), 0600};
         for (const char* const name : {".g", ".f"})
             on_key(c, at + name,
                    [&](przks_key* key) { return przks_set_key_security(c, key, &secret); });
     },
     {}},
};

void make_before(przks_ctx* ctx, const std::string& at) {
    for (const auto& [name, value] :
         {std::pair(".f", "old"), std::pair(".g.x", "1"), std::pair(".g", "old"),
          std::pair(".g.y.z", "2"), std::pair(".r.a", "3"), std::pair(".r.b", "4"),
          std::pair(".r", "new")})
        set(ctx, at + name, value);
}

} // namespace

TEST_F(RegistryStore, AWriterKilledAtAnySystemCallLeavesTheOldOrTheNewState) {
    przks_ctx* const ctx = open(PRZKS_DEFAULT, PRZKS_INIT_BULK); // the same calls but waiting
    for (const Change& change : CHANGES) {
        make_before(ctx, "whole");
        ASSERT_EQ(dump(ctx, "whole"), BEFORE);
        change.run(ctx, "whole");
        const std::string after = dump(ctx, "whole");
        std::set<std::string> allowed = change.between;
        allowed.insert({BEFORE, after});
        bool killed = true;
        bool possible = true;
        int calls = 0;
        while (killed) {
            const std::string at = "k" + std::to_string(++calls);
            make_before(ctx, at);
            killed = kill_at_call(
                calls, [&] { change.run(ctx, at); }, possible);
            if (!possible) GTEST_SKIP() << "no process may be stopped by another here";
            const std::string state = dump(ctx, at);
            ASSERT_EQ(allowed.count(state), 1u)
                << change.name << ", call " << calls << ": " << state;
            ASSERT_EQ(przks_clean(ctx), PRZKS_OK);
            ASSERT_EQ(leftovers(), 0) << change.name << ", call " << calls;
            if (state == BEFORE) change.run(ctx, at); // nothing stands in the way
            if (change.between.empty()) {
                ASSERT_EQ(dump(ctx, at), after) << change.name << ", call " << calls;
            }
            remove(ctx, at);
        }
        EXPECT_GT(calls, 2) << change.name;
        remove(ctx, "whole");
    }
    przks_terminate(ctx);
}
