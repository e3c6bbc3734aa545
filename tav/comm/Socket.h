#pragma once

#include "platform/include/clsc.h"

#include <atomic>
#include <string>

namespace TAV {

/// One connected endpoint, client or accepted.
///
/// Copies are shallow: they share the connection, and closing either closes it for both. The
/// destructor does not close; the owner calls close(). A socket is used by one thread at a time;
/// interruptConnection() alone may be called from another thread.
class Socket {
public:
    Socket();
    /// Connects to a connect string; throws IOException, or FatalCommsException on the layer's
    /// fatal result. Context and area are borrowed and outlive the socket.
    Socket(clscctx* ctx, clscugblm* ugblm, unsigned char* address, unsigned int options);
    /// Wraps an accepted connection; authenticated when a user name is given (null: not).
    Socket(clscctx* ctx, clscugblm* ugblm, clsccon* handle, const unsigned char* username);
    Socket(const Socket& other);
    /// Copies handles, flag and name; `options` becomes 0 and the valid flag stays as it was.
    Socket& operator=(const Socket& other);

    [[nodiscard]] virtual clsccon* getHandle() const;
    [[nodiscard]] virtual clscctx* getClscCtx() const;
    [[nodiscard]] virtual clscugblm* getUgblm() const;
    virtual bool isAuthenticated();
    virtual const char* getUsername();
    /// Closes; a second call does nothing.
    virtual void close();
    virtual ~Socket();
    /// Makes blocked and later sends and receives answer CLSC_INVALID.
    virtual void interruptConnection();
    virtual bool connisValid();

    bool operator<(const Socket& other) const;
    bool operator==(const Socket& other) const;

    /// Results of the layer: CLSC_INVALID without reaching it when the socket is not valid.
    int tav_clssend(clscmsgh* message, unsigned int length);
    /// Repeats while the layer is interrupted.
    int tav_clsrecv(clscmsgh* buffer, unsigned int length);

    /// Closes and frees the connection; no copy of this socket may be used afterwards.
    void release();

    static constexpr std::size_t USERNAME_SIZE = 128;

private:
    clscctx* m_clscCtx = nullptr;
    clscugblm* m_ugblm = nullptr;
    unsigned int m_options = 0;
    bool m_authenticated = false;
    char m_username[USERNAME_SIZE] = {};
    clsccon* m_handle = nullptr;
    std::atomic<bool> m_valid{true};
};

} // namespace TAV
