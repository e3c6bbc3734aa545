#pragma once

#include "daemons/vornd/ClusterView.h"
#include "daemons/vornd/Peers.h"
#include "daemons/vornd/ReplyCache.h"
#include "daemons/vornd/Server.h"

#include <string>

namespace vornd {

/// Makes the replies to the requests of users and of other nodes' daemons. Thread-safe; view and
/// peers outlive it.
class Answers {
public:
    Answers(std::string node, ClusterView& view, Peers& peers);

    /// To a user of this machine.
    FramePointer toUser(const TAV::Message& request, const std::string& user);
    /// Asks the node that a user's request is about, when that is another one that is up: how to
    /// answer with what it said. Empty when no other node has a say.
    AnswerFunction askPeer(const TAV::Message& request, const OrderFunction& order);
    /// To another node's daemon, of which nothing is known: what everybody may read, and nothing
    /// of other nodes than this one.
    FramePointer toPeer(const TAV::Message& request);

private:
    const std::string m_node;
    ClusterView& m_view;
    Peers& m_peers;
    ReplyCache m_replies;
};

} // namespace vornd
