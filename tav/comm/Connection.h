#pragma once

#include "platform/include/clsc.h"
#include "platform/include/threads.h"
#include "tav/comm/Container.h"

#include <iosfwd>
#include <memory>
#include <string>

namespace TAV {

class MessageStream;
class Socket;

/// Receives the order replies of a request instead of having them printed.
class OrderHandler {
public:
    virtual ~OrderHandler() = default;
    virtual void handleOrder(const std::string& message, unsigned int waitSeconds) = 0;
};

/// Results of an exchange.
enum connection_result : int {
    CONNECTION_OK = 0,
    CONNECTION_SETUP_FAILED = 200,
    CONNECTION_READ_FAILED = 300,
    CONNECTION_WRITE_FAILED = 400,
    CONNECTION_NOT_A_CONTAINER = 500,
    CONNECTION_TIMED_OUT = 600,
};

/// One request to a daemon of this node, or of another, and its final reply.
///
/// A daemon may send any number of replies named "ORDER" before the final one: each may carry a
/// text for the user ("MESSAGE") and the seconds to wait for the next reply ("WAIT"). Requests may
/// be sent from several threads, each call using a connection of its own; one Connection object is
/// used by one thread at a time.
class Connection {
public:
    /// Prints order texts on standard output.
    Connection();
    /// The stream is borrowed and outlives the connection.
    Connection(bool quiet, std::ostream& out);
    virtual ~Connection() = default;

    /// Sends `request` to VORND (to TORVD when `toTorvd`) and waits for the final reply. On 0 the
    /// caller owns *reply; otherwise *reply is null, or untouched when the failure came before the
    /// exchange. `handler` may be null. Throws FatalCommsException on the layer's fatal results.
    int invokecmd(const Container& request, Container** reply, bool toTorvd, OrderHandler* handler);

    /// Sends `request` to the daemon on another node, whose end-to-end endpoint stands in the
    /// registry, and waits for the final reply. Connect strings are kept by node; one that no
    /// longer works is read anew, once. Connecting takes at most the cluster's recovery time. Every
    /// failure to find, reach or connect to the node is CONNECTION_SETUP_FAILED; otherwise as
    /// invokecmd.
    int invokepeer(const Container& request, Container** reply, const std::string& node,
                   OrderHandler* handler);
    int invokepeer(const Container& request, Container** reply, const std::string& node);

    /// The exchange on a connected socket.
    int request_reply_(Socket* socket, const Container& request, Container** reply,
                       OrderHandler* handler);

    /// Longest wait that an order can announce, in seconds: what fits the layer's milliseconds.
    static constexpr unsigned MAX_WAIT_S = 4'000'000;

private:
    int invokeConnectedPeer(Socket& socket, const Container& request, Container** reply,
                            const std::string& node, OrderHandler* handler);
    static int readReply(MessageStream& stream, std::unique_ptr<Container>& reply);
    void takeOrder(const Container& order, unsigned int& wait, OrderHandler* handler);

    std::ostream& m_out;
    bool m_quiet = false;
};

/// An event handler without effect.
int DummyEvtHdlr(void*, void*, unsigned, void*);

/// The global area of daemon connections, created on first use and kept for the life of the
/// process, and the mutex that guards its creation.
extern clscugblm* invkcmdugblm;
extern cls_thrIMx s_uiugblmmutex;
/// The same of peer connections.
extern clscugblm* invkprugblm;
extern cls_thrIMx s_e2eugblmmutex;

} // namespace TAV
