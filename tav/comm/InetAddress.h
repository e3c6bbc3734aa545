#pragma once

#include <array>
#include <iosfwd>
#include <optional>
#include <string>

struct hostent;

namespace TAV {

/// A host's full name and one IPv4 address in network form.
class InetAddress {
public:
    InetAddress() = default;
    /// Name and first address of a resolver entry; a null entry or one without an IPv4 address
    /// gives an empty address.
    explicit InetAddress(const hostent* entry);
    InetAddress(const InetAddress&) = default;
    InetAddress& operator=(const InetAddress&) = default;
    virtual ~InetAddress() = default;

    using Address = std::array<unsigned char, 4>;

    /// This node's name; throw UnknownHostException with the system's reason.
    static std::string getLocalHostName();
    static std::string getLocalNodeName();

    [[nodiscard]] const std::string& getFQDN() const { return m_fqdn; }
    /// Up to the first ".".
    [[nodiscard]] std::string getHostName() const;
    /// After the first "."; empty when there is none.
    [[nodiscard]] std::string getDomain() const;
    /// Null when there is none; lives as long as this object.
    [[nodiscard]] const Address* getAddress() const;

    /// True when this full name equals the other's short host name.
    bool operator==(const InetAddress& other) const;

private:
    std::string m_fqdn;
    std::optional<Address> m_address;
};

std::ostream& operator<<(std::ostream& out, const InetAddress& address);

} // namespace TAV
