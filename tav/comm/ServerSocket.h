#pragma once

#include "platform/include/clsc.h"

#include <optional>
#include <string>

namespace TAV {

class Socket;

/// A listening endpoint. The destructor does not close; the owner calls close().
class ServerSocket {
public:
    ServerSocket() = default;
    /// Listens; throws EndPointException when the address is in use, FatalCommsException on the
    /// layer's fatal result, else IOException. With an authentication location (not null) accepted
    /// sockets carry their peer's user name.
    ServerSocket(clscctx* ctx, clscugblm* ugblm, unsigned char* address,
                 const unsigned char* authLocation);
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    /// Answers one connect request and assigns the connection to `into`; waits for one when `flag`
    /// is set. Returns 0, or 15 (CLSC_NOTHING) with `into` unchanged; throws otherwise.
    virtual int accept(Socket* into, bool flag);
    [[nodiscard]] virtual clsccon* getHandle() const;
    [[nodiscard]] virtual clscctx* getClscCtx() const;
    [[nodiscard]] virtual clscugblm* getUgblm() const;
    /// Ends a blocked accept; may be called from another thread.
    virtual void interruptConnection();
    virtual void close();
    virtual ~ServerSocket();

    bool operator<(const ServerSocket& other) const;
    bool operator==(const ServerSocket& other) const;

private:
    clscctx* m_clscCtx = nullptr;
    clsccon* m_handle = nullptr;
    clsccon* m_closed = nullptr; ///< what m_handle was, freed by the destructor
    clscugblm* m_ugblm = nullptr;
    std::optional<std::string> m_authLocation;
};

} // namespace TAV
