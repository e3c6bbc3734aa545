#include "daemons/vornd/Peers.h"

#include "cppgen/clsException.h"
#include "daemons/vornd/DaemonLog.h"
#include "daemons/vornd/StatusWords.h"
#include "tav/comm/Connection.h"
#include "tav/comm/OpenConns.h"
#include "tav/comm/PeerAddresses.h"
#include "tav/registry/clsgenv.h"
#include "tav/ui/cmd/tavNames.h"

#include <algorithm>
#include <exception>
#include <iostream>
#include <utility>

namespace vornd {

namespace {

TAV::Container requestFor(const std::string& node, const Peers::Names& names) {
    TAV::Container request(STATUS_REQUEST);
    request.SetProperty(TAV::tav_HOST, node);
    if (!names) return request;
    std::string list;
    for (const std::string& name : *names) list.append(name).push_back(TAV::LIST_SEPARATOR);
    list.pop_back();
    request.SetProperty(TAV::tav_RESOURCE, list);
    return request;
}

/// Whether a peer that answers with the number alone is there and knows which node it serves.
bool isAnswer(const std::string& result) {
    return result.empty() || result == std::to_string(RESULT_NOTHING_REGISTERED) ||
           result == std::to_string(RESULT_TOO_LARGE);
}

/// 0 with the reply, or the exchange's result.
int exchangeWith(const std::string& node, const TAV::Container& request,
                 std::unique_ptr<TAV::Container>& reply) {
    try {
        TAV::Connection connection(true, std::cerr);
        TAV::Container* received = nullptr;
        const int result = connection.invokepeer(request, &received, node);
        if (result == TAV::CONNECTION_OK) reply.reset(received);
        // The registry that was asked for the address may have been exchanged since it was opened.
        if (result == TAV::CONNECTION_SETUP_FAILED) clsgenvterm();
        return result;
    } catch (const cls::Exception& error) {
        logLine("asking node ", node, ": ", printable(error.what()));
    } catch (const std::exception& error) {
        logLine("asking node ", node, ": ", error.what());
    }
    return TAV::CONNECTION_READ_FAILED;
}

} // namespace

std::shared_ptr<const ToldStates> statesIn(const TAV::Container& reply, const std::string& node) {
    if (reply.GetName() != STATUS_REPLY || !isAnswer(reply.GetProperty(REPLY_RESULT)))
        return nullptr;
    auto told = std::make_shared<ToldStates>();
    for (const TAV::Container::Child& child : reply.children()) {
        const TAV::Container* const resource = TAV::asContainer(child.message.get());
        if (resource == nullptr || child.key == REPLY_ERROR) continue;
        const TAV::Container* const states = TAV::asContainer(resource->GetMessage(RES_STATE));
        if (states == nullptr) continue;
        const std::string state = states->GetProperty(node);
        if (!state.empty()) told->emplace(child.key, printable(state));
    }
    return told;
}

struct Peers::Exchange {
    std::string node;
    Names names;
    Clock::time_point end;
    Thread thread;
    std::shared_ptr<const ToldStates> told; ///< null until there is an answer
    unsigned attempts = 0;
    bool interrupted = false; ///< together with another one, before its own time was over
    bool ended = false;
};

Peers::Peers(std::chrono::seconds recovery) : m_limit(std::min(recovery, LONGEST)) {}

Peers::~Peers() {
    stop();
}

std::shared_ptr<const ToldStates> Peers::ask(const std::string& node, const Names& names,
                                             const OrderFunction& order) {
    const Clock::time_point start = Clock::now();
    const Clock::time_point end = start + m_limit;
    std::unique_lock lock(m_mutex);
    ExchangePointer exchange;
    bool isTold = false;
    while (!m_stopping && Clock::now() < end) {
        if (exchange == nullptr) exchange = join(lock, node, names, end);
        if (exchange != nullptr && (exchange->ended || exchange->end <= Clock::now())) break;
        if (!isTold && Clock::now() >= start + ORDER_AFTER) {
            isTold = true;
            lock.unlock();
            order("Asking node " + node + " for its resources", m_limit + REPLY_MARGIN);
            lock.lock();
            continue;
        }
        m_changed.wait_until(lock, isTold ? end : std::min(end, start + ORDER_AFTER));
    }
    interruptOverdue();
    return exchange == nullptr ? nullptr : exchange->told;
}

/// The exchange that asks the same, or a new one; null while the node's places are taken.
Peers::ExchangePointer Peers::join(std::unique_lock<std::mutex>& /*held*/, const std::string& node,
                                   const Names& names, Clock::time_point end) {
    reap();
    std::size_t others = 0;
    for (const ExchangePointer& exchange : m_exchanges) {
        if (exchange->node != node) continue;
        if (exchange->names == names && exchange->end > Clock::now()) return exchange;
        ++others;
    }
    return others < PER_NODE ? begin(node, names, end) : nullptr;
}

/// Under the lock, so that the thread cannot end before its exchange is entered.
Peers::ExchangePointer Peers::begin(const std::string& node, const Names& names,
                                    Clock::time_point end) {
    auto exchange = std::make_shared<Exchange>();
    exchange->node = node;
    exchange->names = names;
    exchange->end = end;
    Exchange& started = *exchange;
    if (!started.thread.start([this, &started] { run(started); })) {
        logLine("asking node ", node, ": no thread can be started");
        started.ended = true;
        return exchange;
    }
    m_exchanges.push_back(exchange);
    return exchange;
}

void Peers::run(Exchange& exchange) {
    std::shared_ptr<const ToldStates> told;
    int result = TAV::CONNECTION_OK;
    do {
        std::unique_ptr<TAV::Container> reply;
        result = exchangeWith(exchange.node, requestFor(exchange.node, exchange.names), reply);
        if (reply != nullptr) told = statesIn(*reply, exchange.node);
    } while (mayRepeat(exchange, result));
    const std::lock_guard lock(m_mutex);
    exchange.told = std::move(told);
    exchange.ended = true;
    m_changed.notify_all();
}

/// When it was interrupted beside another one, and once when the node was not reached: where it was
/// reached before need not be where it is now.
bool Peers::mayRepeat(Exchange& exchange, int result) {
    const std::lock_guard lock(m_mutex);
    const bool wasInterrupted = std::exchange(exchange.interrupted, false);
    if (result == TAV::CONNECTION_OK || m_stopping || Clock::now() >= exchange.end) return false;
    return wasInterrupted || (result == TAV::CONNECTION_SETUP_FAILED && exchange.attempts++ == 0);
}

/// With the lock held. The table of connections knows nodes only.
void Peers::interrupt(const std::string& node) {
    for (const ExchangePointer& exchange : m_exchanges)
        if (exchange->node == node) exchange->interrupted = true;
    TAV::OpenConns::deleteFailedNodeConns(node);
}

void Peers::interruptOverdue() {
    const Clock::time_point now = Clock::now();
    for (const ExchangePointer& exchange : m_exchanges)
        if (!exchange->ended && (m_stopping || exchange->end <= now)) interrupt(exchange->node);
}

/// With the lock held: a thread that said that it ended takes no lock any more.
void Peers::reap() {
    m_exchanges.remove_if([](const ExchangePointer& exchange) {
        if (!exchange->ended) return false;
        exchange->thread.join();
        return true;
    });
}

void Peers::lost(const std::string& node) {
    const std::lock_guard lock(m_mutex);
    for (const ExchangePointer& exchange : m_exchanges)
        if (exchange->node == node) exchange->end = Clock::now();
    interruptOverdue();
    m_changed.notify_all();
}

void Peers::forget(const std::string& node) {
    TAV::forgetPeerAddress(node);
}

void Peers::endOverdue() {
    const std::lock_guard lock(m_mutex);
    reap();
    interruptOverdue();
}

void Peers::stop() {
    constexpr std::chrono::milliseconds again{20};
    std::unique_lock lock(m_mutex);
    m_stopping = true;
    m_changed.notify_all();
    while (true) {
        reap();
        if (m_exchanges.empty()) return;
        interruptOverdue();
        m_changed.wait_for(lock, again);
    }
}

} // namespace vornd
