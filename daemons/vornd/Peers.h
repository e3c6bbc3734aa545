#pragma once

#include "daemons/vornd/StatusRequest.h"
#include "daemons/vornd/Thread.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vornd {

/// States of one node by resource, as its daemon told them.
using ToldStates = std::map<std::string, std::string, std::less<>>;

/// Tells a client to wait for so long; throws when the client is gone.
using OrderFunction = std::function<void(const std::string& message, std::chrono::seconds wait)>;

/// The states that a peer's reply tells of a node. A pure function over whatever the peer sent;
/// null when the peer does not answer for the node.
[[nodiscard]] std::shared_ptr<const ToldStates> statesIn(const TAV::Container& reply,
                                                         const std::string& node);

/// Asks the daemons of other nodes for their states.
///
/// Each exchange has a thread of its own, so that nobody waits longer for a peer than the limit,
/// whatever the peer does. Clients that ask the same at the same time share an exchange.
/// Thread-safe.
class Peers {
public:
    /// `recovery` is the time in which the cluster notices a lost node.
    explicit Peers(std::chrono::seconds recovery);
    ~Peers();
    Peers(const Peers&) = delete;
    Peers& operator=(const Peers&) = delete;

    using Names = std::optional<std::vector<std::string>>;
    /// What the node's daemon says of these resources (of all); null when it does not answer in
    /// time. `order` is called when that takes long.
    std::shared_ptr<const ToldStates> ask(const std::string& node, const Names& names,
                                          const OrderFunction& order);

    /// The node went down: nobody waits for it any more.
    void lost(const std::string& node);
    /// The node may be reached somewhere else than before.
    void forget(const std::string& node);
    /// Ends what takes too long. To be called now and then: an exchange that was just being
    /// connected when its time was over is only found then.
    void endOverdue();
    /// Ends all exchanges; from now on nobody is asked. May be called twice.
    void stop();

    /// Most peers answer within that; a client that scripts read is told of longer waits alone.
    static constexpr std::chrono::milliseconds ORDER_AFTER{300};
    /// Longest time for finding, connecting to and hearing a peer; recovery_time when that is less:
    /// a node that says nothing for so long counts as lost.
    static constexpr std::chrono::seconds LONGEST{10};
    /// What a client is to wait beyond the limit, for its reply to be made.
    static constexpr std::chrono::seconds REPLY_MARGIN{5};
    /// Exchanges with one node at one time: one that hangs must take up neither the threads nor the
    /// places of others.
    static constexpr std::size_t PER_NODE = 4;

private:
    using Clock = std::chrono::steady_clock;
    struct Exchange;
    using ExchangePointer = std::shared_ptr<Exchange>;

    ExchangePointer join(std::unique_lock<std::mutex>& lock, const std::string& node,
                         const Names& names, Clock::time_point end);
    ExchangePointer begin(const std::string& node, const Names& names, Clock::time_point end);
    void run(Exchange& exchange);
    bool mayRepeat(Exchange& exchange, int result);
    void interrupt(const std::string& node);
    void reap();
    void interruptOverdue();

    const std::chrono::seconds m_limit;

    std::mutex m_mutex; ///< guards what follows
    std::condition_variable m_changed;
    std::list<ExchangePointer> m_exchanges;
    bool m_stopping = false;
};

} // namespace vornd
