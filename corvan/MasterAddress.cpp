#include "corvan/MasterAddress.h"

#include <cctype>
#include <charconv>
#include <sys/stat.h>
#include <sys/un.h>

#include "corvan/Utf8.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/IniFile.h"

namespace corvan
{

namespace
{

constexpr std::size_t k_most_socket_path = sizeof(sockaddr_un::sun_path) - 1;
const char *const k_unix = "unix:";

MasterAddress SocketAddress(const ostrel::Path &file)
{
    return {MasterAddress::Kind::Socket, k_unix + file.Text(), file};
}

bool IsUnreserved(unsigned char c)
{
    return std::isalnum(c) || c == '/' || c == '-' || c == '.' || c == '_' || c == '~';
}

String EscapePath(const String &path)
{
    static const char k_digits[] = "0123456789ABCDEF";
    String escaped;
    for (const char c : path)
    {
        const auto byte = static_cast<unsigned char>(c);
        if (IsUnreserved(byte))
            escaped += c;
        else
            escaped += {'%', k_digits[byte >> 4], k_digits[byte & 15]};
    }
    return escaped;
}

/// What stands behind "unix:".
String PathOf(const String &text)
{
    const std::size_t begin = text.find(':');
    return begin == String::npos ? String() : String(text.substr(begin + 1));
}

String CheckSocketPath(const String &path)
{
    if (path.empty() || path[0] != '/')
        return "a socket file needs an absolute path";
    if (path.back() == '/')
        return "the path names a folder";
    if (path.size() > k_most_socket_path)
        return "the path of a socket file has at most " + std::to_string(k_most_socket_path) +
               " bytes";
    return HasControlCharacters(path) ? "the path holds control characters" : "";
}

bool IsHost(const String &host)
{
    if (host.starts_with('[') && host.ends_with(']') && host.size() > 2)
        return host.find_first_not_of("0123456789abcdefABCDEF:.", 1) == host.size() - 1;
    for (const char c : host)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '-' && c != '.')
            return false;
    return !host.empty() && host[0] != '-' && host[0] != '.';
}

bool IsPort(const String &port)
{
    unsigned number = 0;
    const char *end = port.data() + port.size();
    const auto [stopped, error] = std::from_chars(port.data(), end, number);
    return error == std::errc() && stopped == end && number >= 1 && number <= 65535;
}

String CheckTcp(const String &text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == String::npos)
        return "it is neither unix:/PATH nor HOST:PORT";
    if (!IsHost(text.substr(0, colon)))
        return "the part before the last colon is no host";
    return IsPort(text.substr(colon + 1)) ? "" : "a port is a number from 1 to 65535";
}

String ReadToken(const ostrel::Path &file)
{
    struct stat status
    {
    };
    if (::stat(file.Text().c_str(), &status) == 0 && (status.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        throw new ostrel::Exception("cannot use token file " + file.Text() +
                                    ": it is open to others than its owner (chmod 600)");
    String token = ostrel::File::ReadWhole(file, 4096);
    token.resize(std::min(token.find_first_of("\r\n"), token.size()));
    if (token.empty() || HasControlCharacters(token) || !IsUtf8(token))
        throw new ostrel::Exception("cannot use token file " + file.Text() +
                                    ": its first line is no token");
    return token;
}

} // namespace

String MasterAddress::Target() const
{
    return kind == Kind::Socket ? String(k_unix + EscapePath(socketFile.Text())) : text;
}

std::optional<MasterAddress> MasterAddress::Parse(const String &text, String *reason)
{
    const bool isSocket = text.starts_with(k_unix) || text.starts_with('/');
    const String path = text.starts_with('/') ? text : PathOf(text);
    const String wrong = isSocket ? CheckSocketPath(path) : CheckTcp(text);
    if (wrong.empty())
        return isSocket ? SocketAddress(path) : MasterAddress{Kind::Tcp, text, {}};

    if (reason)
        *reason = "\"" + Excerpt(text) + "\" is no address of a Master: " + wrong;
    return std::nullopt;
}

MasterAddress MasterAddress::Default()
{
    return SocketAddress(ostrel::RuntimeFolder() / "corvan-master.sock");
}

TcpSecurity TcpSecurity::Load(const ostrel::IniFile &options)
{
    TcpSecurity security;
    security.certificate = options.GetValue("Master", "Certificate", String());
    security.key = options.GetValue("Master", "Key", String());
    const ostrel::Path tokenFile = options.GetValue("Master", "TokenFile", String());
    if (!tokenFile.IsEmpty())
        security.token = ReadToken(tokenFile);
    return security;
}

} // namespace corvan
