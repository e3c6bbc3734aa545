#include "evm/libevm/connection.h"
#include "tests/evm/daemon_support.h"

#include <bit>

namespace {

/// What callbacks were told, one line each.
struct Told {
    std::vector<std::string> calls;
    EvmEvent_t lastEvent = nullptr;

    static void hear(EvmConnection_t, EvmCallbackArg_t argument, EvmCallbackData_t* data) {
        auto& told = *static_cast<Told*>(argument);
        const bool given = data->event != nullptr;
        told.calls.push_back(std::to_string(data->reason) + " status " +
                             std::to_string(data->status) + (given ? " event" : ""));
        told.lastEvent = data->event;
        const auto& extension = data->extension;
        if (data->reason == EvmREASON_TEMPLATE_INFO_DELIVERED ||
            data->reason == EvmREASON_REGISTRATION_DELIVERED)
            told.calls.back() += " for " + std::to_string(extension.templateData.userArg) +
                                 " reset " + std::to_string(extension.templateData.resetToFirst) +
                                 " squelch " + std::to_string(extension.templateData.squelchLevel);
        if (data->reason >= EvmREASON_EVENTS_MISSED)
            told.calls.back() += " number " + std::to_string(extension.clientID);
        const bool delivered = data->reason == EvmREASON_EVENT_DELIVERED ||
                               data->reason == EvmREASON_TEMPLATE_INFO_DELIVERED;
        if (given && delivered) EvmEventDestroy(data->event);
    }
};

/// Dispatches until a message came or the connection failed.
EvmStatus_t waitAndDispatch(EvmConnection_t connection) {
    const EvmStatus_t status = EvmConnWait(connection, nullptr);
    return status == EvmERROR_NONE ? EvmConnDispatch(connection) : status;
}

RecordBytes preparedRecord() {
    const Event event(make_event("a.b"));
    EvmEventWriteBuf(nullptr, event);
    return record_bytes(event);
}

/// A template's answer behind its header: squelch level 9 and the record in two messages.
void sendTemplate(DaemonEnd& end, const RecordBytes& record) {
    end.sendMessage(from_hex("0000000009000000"));
    RecordBytes header(record.begin(), record.begin() + 120);
    put<std::uint32_t>(header, 0, 120);
    end.send(header);
    end.sendMessage(evm::Bytes(record).subspan(120));
}

} // namespace

TEST(Post, AnswerDecides) {
    struct {
        std::uint32_t flags;
        EvmStatus_t status;
    } const answers[] = {{0, EvmERROR_NONE},
                         {0x4, EvmERROR_EVENT_REJECTED},
                         {0x1, EvmERROR_EVENT_NOT_VALID},
                         {0x5, EvmERROR_EVENT_NOT_VALID},
                         {0x205, EvmERROR_NO_MEMORY},
                         {0x20000, EvmERROR_NONE}};
    const WelcomingDaemon daemon([&](DaemonEnd& end) {
        for (const auto& row : answers) end.answerPost(row.flags);
        // Nobody waits for this one.
        end.answer(EvmCOMM_POST_RSP);
    });
    const Connected connection;
    const Event event(make_event("a.b"));
    for (const auto& row : answers)
        EXPECT_EQ(EvmEventPost(connection, event), row.status) << row.flags;
    EXPECT_EQ(waitAndDispatch(connection), EvmERROR_PROTOCOL);
    EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(EvmConnWait(connection, nullptr), EvmERROR_CONNECTION_LOST);
}

TEST(Post, DaemonsThatFailDisableTheConnection) {
    const auto postTo = [](const ScriptedDaemon::Script& script) {
        const ScriptedDaemon daemon([&](DaemonEnd& end) {
            end.welcome();
            script(end);
        });
        const Connected connection;
        const Event event(make_event("a.b"));
        const EvmStatus_t status = EvmEventPost(connection, event);
        EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_CONNECTION_LOST);
        return status;
    };
    EXPECT_EQ(postTo([](DaemonEnd& end) { end.read(); }), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(postTo([](DaemonEnd& end) { end.read(), end.read(); }), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(postTo([](DaemonEnd& end) { end.answer(99), end.drain(); }), EvmERROR_PROTOCOL);
    EXPECT_EQ(postTo([](DaemonEnd& end) {
                  end.read(), end.read();
                  end.send(from_hex("0a000000"));
                  end.drain();
              }),
              EvmERROR_CONNECTION_LOST);
}

TEST(Post, WithoutConnectionUsesOneOfItsOwn) {
    std::atomic<int> posts{0};
    {
        const WelcomingDaemon daemon(
            [&](DaemonEnd& end) {
                end.answerPost(posts == 0 ? 0 : 0x4);
                ++posts;
            },
            2);
        const Event event(make_event("a.b"));
        EXPECT_EQ(EvmEventPost(nullptr, event), EvmERROR_NONE);
        EXPECT_EQ(EvmEventPost(nullptr, event), EvmERROR_EVENT_REJECTED);
    }
    EXPECT_EQ(posts, 2);
    const Event event(make_event("a.b"));
    EXPECT_EQ(EvmEventPost(nullptr, event), EvmERROR_CONNECT);
    EXPECT_EQ(EvmEventPost(nullptr, nullptr), EvmERROR_INVALID_ARGUMENT);
}

TEST(Post, ChosenItemsAreFilledIn) {
    const ScriptedDaemon daemon([](DaemonEnd& end) {
        end.welcome();
        while (end.answerPost()) {
        }
    });
    const Connected connection;
    const auto presence = [&](EvmStatus_t expected = EvmERROR_NONE) {
        const Event event(make_event("a.b"));
        EXPECT_EQ(EvmEventPost(connection, event), expected);
        EvmItemValue_t value{};
        if (EvmItemGet(event, EvmITEM_PPID, &value) == EvmERROR_NONE) {
            EXPECT_EQ(value.PPID, getppid());
        }
        return evm::load<std::uint32_t>(record_bytes(event), 60);
    };
    char name[65];
    const bool named = scls_idq_get_user_name(nullptr, nullptr, 0, name, sizeof name) == SCLS_OK;
    const std::uint32_t user = named ? 1U << EvmITEM_USER_NAME : 0U;
    const std::uint32_t ordinary = 2U | 1U << 10 | 1U << 6 | 1U << 7;
    EXPECT_EQ(presence(), ordinary | user);
    const auto choose = [&](std::uintptr_t mask) {
        EvmConnControl(connection, EvmCONTROL_ITEMS_SET, std::bit_cast<void*>(mask));
    };
    choose(0x1E0ED0);
    EXPECT_EQ(presence(), (2U | 0x1E0ED0U) & ~(1U << EvmITEM_CLUSTER_NAME) & ~(user ^ 1U << 20));
    choose(1U << EvmITEM_PID);
    EXPECT_EQ(presence(), 2U | 1U << EvmITEM_PID);
    choose(0);
    EXPECT_EQ(presence(), 2U);
    choose(1U << EvmITEM_EVENT_ID);
    EXPECT_EQ(presence(EvmERROR_INVALID_ARGUMENT), 2U);
    EvmConnControl(connection, EvmCONTROL_ITEMS_DEFAULT, nullptr);
    EXPECT_EQ(presence(), ordinary | user);

    EvmConnControl(connection, EvmCONTROL_CHECKSUM_OFF, nullptr);
    const Event plain(make_event("a.b"));
    EXPECT_EQ(EvmEventPost(connection, plain), EvmERROR_NONE);
    EXPECT_EQ(evm::load<std::uint32_t>(record_bytes(plain), 56), 0U);
}

TEST(Post, ThreadsShareAConnection) {
    constexpr int POSTS = 200;
    const ScriptedDaemon daemon([](DaemonEnd& end) {
        end.welcome();
        for (unsigned count = 0; end.answerPost(count % 2 == 0 ? 0U : 0x4U); ++count) {
        }
    });
    const Connected connection;
    std::atomic<int> accepted{0};
    std::atomic<int> rejected{0};
    const auto work = [&] {
        const Event event(make_event("a.b"));
        for (int count = 0; count < POSTS; ++count) {
            const EvmStatus_t status = EvmEventPost(connection, event);
            accepted += status == EvmERROR_NONE ? 1 : 0;
            rejected += status == EvmERROR_EVENT_REJECTED ? 1 : 0;
        }
    };
    std::thread another(work);
    work();
    another.join();
    // Every answer reached the thread whose post it belongs to.
    EXPECT_EQ(accepted, POSTS);
    EXPECT_EQ(rejected, POSTS);
}

TEST(Post, AnswersNameTheirEventsInCallbacks) {
    const WelcomingDaemon daemon([](DaemonEnd& end) {
        for (int count = 0; count < 3; ++count) end.answerPost(count == 1 ? 0x4 : 0);
        end.answer(EvmCOMM_POST_RSP, 0, 0x7fff0000);
    });
    Told told;
    const Connected connection(EvmRESPONSE_CALLBACK, Told::hear, &told);
    const Event event(make_event("a.b"));
    EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_NONE);
    EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_NONE);
    {
        const Event dies(make_event("a.b"));
        EXPECT_EQ(EvmEventPost(connection, dies), EvmERROR_NONE);
    }
    EXPECT_EQ(waitAndDispatch(connection), EvmERROR_NONE);
    EXPECT_EQ(told.lastEvent, EvmEvent_t{event});
    for (int count = 0; count < 3; ++count) EXPECT_EQ(waitAndDispatch(connection), EvmERROR_NONE);
    const std::vector<std::string> expected = {"0 status 0 event", "0 status 17 event",
                                               "0 status 0", "0 status 0"};
    EXPECT_EQ(told.calls, expected);
}

TEST(Dispatch, EveryMessageReachesItsCallback) {
    struct {
        std::uint32_t type, flags;
        std::string call; ///< empty: none
    } const rows[] = {{EvmCOMM_SUBSCRIPTION_RSP, 0x9, "2 status 8"},
                      {EvmCOMM_SUBSCRIPTION_RSP, 0x8, "2 status 31"},
                      {EvmCOMM_NOTIFY, 0, "1 status 0 event"},
                      {EvmCOMM_NOTIFY, 0x1, "1 status 2 event"},
                      {EvmCOMM_FLAGS, 0x402, "5 status 0 number 7"},
                      {EvmCOMM_FLAGS, 0x400, "6 status 0 number 7"},
                      {EvmCOMM_FLAGS, 0, ""},
                      {EvmCOMM_TEMPLATE_INFO_RSP, 0x20, "3 status 0 event for 7 reset 1 squelch 9"},
                      {EvmCOMM_TEMPLATE_INFO_RSP, 0x41, "3 status 4 for 7 reset 0 squelch 0"},
                      {EvmCOMM_REGISTRATION_RSP, 0x201, "4 status 2 for 7 reset 0 squelch 0"},
                      {EvmCOMM_REGISTRATION_RSP, 0x200, "4 status 18 for 7 reset 0 squelch 0"},
                      {EvmCOMM_CESUBSCRIPTION_RSP, 0x1, "7 status 8 number 7"},
                      {EvmCOMM_CEUNSUBSCRIBE_RSP, 0x1, "8 status 9 number 7"},
                      {EvmCOMM_CEUNSUBSCRIBE_RSP, 0, "8 status 0 number 7"}};
    const RecordBytes record = preparedRecord();
    const WelcomingDaemon daemon([&](DaemonEnd& end) {
        for (const auto& row : rows) {
            end.answer(row.type, row.flags, 7, static_cast<std::uint32_t>(record.size()));
            if (row.type == EvmCOMM_NOTIFY) end.send(record);
            if (row.type == EvmCOMM_TEMPLATE_INFO_RSP && row.flags == 0x20)
                sendTemplate(end, record);
        }
    });
    Told told;
    const Connected connection(EvmRESPONSE_CALLBACK, Told::hear, &told, EvmCONNECTION_LISTEN);
    for (const auto& row : rows) {
        told.calls.clear();
        EXPECT_EQ(waitAndDispatch(connection), EvmERROR_NONE) << row.call;
        EXPECT_EQ(told.calls, row.call.empty() ? std::vector<std::string>()
                                               : std::vector<std::string>{row.call});
    }
    const Event event(make_event("a.b"));
    EXPECT_EQ(EvmEventPost(connection, event), EvmERROR_INVALID_ARGUMENT);
}

TEST(Dispatch, BodiesThatAreNoneDisableTheConnection) {
    const auto dispatch = [](std::uint32_t type, std::uint32_t bodySize, const RecordBytes& body) {
        const WelcomingDaemon daemon([&](DaemonEnd& end) {
            end.answer(type, 0, 0, bodySize);
            end.send(body);
        });
        const Connected connection;
        EXPECT_EQ(waitAndDispatch(connection), EvmERROR_CONNECTION_LOST);
        EXPECT_EQ(EvmConnDispatch(connection), EvmERROR_CONNECTION_LOST);
    };
    const RecordBytes record = preparedRecord();
    RecordBytes damaged = record;
    damaged[130] ^= std::byte{1};
    RecordBytes lying = record;
    put<std::uint32_t>(lying, 52, 0xFFFFFFF8);
    dispatch(EvmCOMM_NOTIFY, 136, damaged);
    dispatch(EvmCOMM_NOTIFY, 136, lying);
    dispatch(EvmCOMM_NOTIFY, 0xFFFFFFFF, record);
    dispatch(EvmCOMM_NOTIFY, 136, {}); // a body that never comes
    dispatch(EvmCOMM_TEMPLATE_INFO_RSP, 0, record);
}

TEST(Connection, WaitsEndAsTheyShould) {
    std::atomic<bool> sendFlags{false};
    const ScriptedDaemon daemon([&](DaemonEnd& end) {
        end.welcome();
        while (!sendFlags) std::this_thread::yield();
        end.answer(EvmCOMM_FLAGS);
    });
    const Connected connection;
    cls_timeval none{0, 0};
    cls_timeval some{-5, 2};
    EvmBoolean_t present = EvmTRUE;
    EXPECT_EQ(EvmConnWait(connection, &none), EvmERROR_TIMEOUT);
    EXPECT_EQ(EvmConnWait(connection, &some), EvmERROR_TIMEOUT);
    EXPECT_EQ(EvmConnCheck(connection, &present), EvmERROR_NONE);
    EXPECT_EQ(present, EvmFALSE);
    EXPECT_EQ(EvmConnDispatch(connection), EvmERROR_NONE);
    // One wake-up ends one wait, also when it comes first.
    EXPECT_EQ(EvmConnPost(connection), EvmERROR_NONE);
    EXPECT_EQ(EvmConnWait(connection, nullptr), EvmERROR_SIGNAL);
    EXPECT_EQ(EvmConnWait(connection, &none), EvmERROR_TIMEOUT);
    std::thread waker([&] { EvmConnPost(connection); });
    EXPECT_EQ(EvmConnWait(connection, nullptr), EvmERROR_SIGNAL);
    waker.join();
    sendFlags = true;
    EXPECT_EQ(EvmConnWait(connection, nullptr), EvmERROR_NONE);
    EXPECT_EQ(EvmConnCheck(connection, &present), EvmERROR_NONE);
    EXPECT_EQ(present, EvmTRUE);
    EXPECT_EQ(EvmConnDispatch(connection), EvmERROR_NONE);
    EXPECT_EQ(EvmConnWait(connection, nullptr), EvmERROR_CONNECTION_LOST); // the daemon has gone
    EXPECT_EQ(EvmConnCheck(connection, &present), EvmERROR_CONNECTION_LOST);
    EXPECT_EQ(EvmConnCheck(connection, nullptr), EvmERROR_INVALID_ARGUMENT);
}

TEST(Connection, DestroyingItEndsWhoIsInside) {
    const WelcomingDaemon daemon([](DaemonEnd& end) { end.answer(EvmCOMM_FLAGS, 0x2); }, 2);
    // From within its own callback.
    const EvmCallback_t suicide = [](EvmConnection_t connection, EvmCallbackArg_t argument,
                                     EvmCallbackData_t*) {
        *static_cast<EvmStatus_t*>(argument) = EvmConnDestroy(connection);
    };
    EvmStatus_t destroyed = EvmERROR_LAST;
    Connected first(EvmRESPONSE_CALLBACK, suicide, &destroyed);
    EXPECT_EQ(waitAndDispatch(first), EvmERROR_NONE);
    EXPECT_EQ(destroyed, EvmERROR_NONE);
    EvmConnection_t dead = first.release();
    EvmBoolean_t present = EvmTRUE;
    const Event event(make_event("a.b"));
    const EvmStatus_t results[] = {
        EvmConnDestroy(dead),  EvmConnWait(dead, nullptr),  EvmConnCheck(dead, &present),
        EvmConnDispatch(dead), EvmConnFlush(dead, nullptr), EvmConnControl(dead, 1, nullptr),
        EvmConnPost(dead),     EvmEventPost(dead, event)};
    for (const EvmStatus_t result : results) EXPECT_EQ(result, EvmERROR_INVALID_ARGUMENT);
    EXPECT_EQ(present, EvmFALSE);

    // While another thread waits for the answer to its post.
    Connected second;
    std::thread poster([&] {
        const Event posted(make_event("a.b"));
        EXPECT_EQ(EvmEventPost(second, posted), EvmERROR_CONNECTION_LOST);
    });
    const evm::Pin pin = evm::pinned(second);
    for (bool waiting = false; !waiting; std::this_thread::yield()) {
        const evm::ConnectionLock lock(*pin);
        waiting = pin->ackPending == EvmTRUE;
    }
    EXPECT_EQ(EvmConnDestroy(second.release()), EvmERROR_NONE);
    poster.join();
}

TEST(Connection, ControlRequests) {
    const WelcomingDaemon daemon;
    const Connected waiting;
    EvmBoolean_t flag = EvmFALSE;
    EvmIpAddress_t* members = nullptr;
    int number = 0;
    for (const int request : {-1, 8, 9, 10, 11, 12, 14, 17, 18})
        EXPECT_EQ(EvmConnControl(waiting, request, &number), EvmERROR_INVALID_ARGUMENT) << request;
    for (const int request : {0, 2, 6, 7, 13})
        EXPECT_EQ(EvmConnControl(waiting, request, nullptr), EvmERROR_INVALID_ARGUMENT) << request;
    for (const int request : {0, 1, 2, 3})
        EXPECT_EQ(EvmConnControl(waiting, request, &number), EvmERROR_NONE) << request;
    for (const EvmBoolean_t expected : {EvmTRUE, EvmFALSE}) {
        EXPECT_EQ(EvmConnControl(waiting, 6, &flag), EvmERROR_NONE);
        EXPECT_EQ(flag, expected);
        EXPECT_EQ(EvmConnControl(waiting, 5, nullptr), EvmERROR_NONE);
    }
    EXPECT_EQ(EvmConnControl(waiting, 4, nullptr), EvmERROR_NONE);
    EXPECT_EQ(EvmConnControl(waiting, 7, &flag), EvmERROR_NONE);
    EXPECT_EQ(EvmConnControl(waiting, 13, &members), EvmERROR_NONE);
    EXPECT_EQ(members, nullptr);
    {
        const evm::Pin pin = evm::pinned(waiting);
        pin->clusterMembers = evm::heapArray<EvmIpAddress_t>(2);
        pin->clusterMembersSize = 2;
        pin->clusterMembers.get()[1] = 5;
    }
    EXPECT_EQ(EvmConnControl(waiting, 13, &members), EvmERROR_NONE);
    EXPECT_EQ(members[1], 5U);
    std::free(members);
}
