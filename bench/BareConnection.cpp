#include "bench/BareConnection.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <initializer_list>
#include <sys/socket.h>
#include <sys/un.h>
#include <utility>

namespace bench
{

namespace
{

enum FrameType : unsigned
{
    Data = 0,
    Headers = 1,
    Reset = 3,
    Settings = 4,
    Ping = 6,
    GoAway = 7,
    Window = 8,
};
constexpr unsigned k_ack = 1;
constexpr unsigned k_end_stream = 1;
constexpr unsigned k_end_headers = 4;
constexpr std::uint32_t k_stream = 1;
constexpr std::size_t k_head_bytes = 9;
constexpr std::size_t k_prefix_bytes = 5; // Of a message: not compressed, its length.
// Nobody here fills them, so none has to be kept count of.
constexpr std::uint32_t k_stream_window = 0x7fff'ffff;
constexpr std::uint32_t k_more_of_connection = 0x3fff'ffff;

[[noreturn]] void FailConnection(const char *what)
{
    std::fprintf(stderr, "load_bench: %s: %s\n", what, std::strerror(errno));
    std::exit(1);
}

void AppendBytes(std::string &bytes, std::uint32_t number, int count)
{
    for (int shift = 8 * (count - 1); shift >= 0; shift -= 8)
        bytes += char(number >> shift);
}

std::uint32_t ReadNumber(std::string_view bytes)
{
    std::uint32_t number = 0;
    for (const char byte : bytes)
        number = number << 8 | std::uint8_t(byte);
    return number;
}

std::string FrameOf(FrameType type, unsigned flags, std::uint32_t stream, std::string_view payload)
{
    std::string bytes;
    AppendBytes(bytes, std::uint32_t(payload.size()), 3);
    AppendBytes(bytes, type, 1);
    AppendBytes(bytes, flags, 1);
    AppendBytes(bytes, stream, 4);
    return bytes.append(payload);
}

// Literals that go into no table, all of them short.
std::string HeaderBlock(std::initializer_list<std::pair<std::string_view, std::string_view>> fields)
{
    std::string block;
    for (const auto &[name, value] : fields)
    {
        block += '\0';
        AppendBytes(block, std::uint32_t(name.size()), 1);
        block += name;
        AppendBytes(block, std::uint32_t(value.size()), 1);
        block += value;
    }
    return block;
}

std::string Opening()
{
    std::string settings;
    AppendBytes(settings, 4, 2); // Initial window.
    AppendBytes(settings, k_stream_window, 4);
    std::string window;
    AppendBytes(window, k_more_of_connection, 4);
    return "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + FrameOf(Settings, 0, 0, settings) +
           FrameOf(Window, 0, 0, window) +
           FrameOf(Headers, k_end_headers, k_stream,
                   HeaderBlock({{":method", "POST"},
                                {":scheme", "http"},
                                {":path", "/corvan.wire.Master/Connect"},
                                {":authority", "localhost"},
                                {"te", "trailers"},
                                {"content-type", "application/grpc"}}));
}

int ConnectTo(const std::string &socketFile)
{
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketFile.copy(address.sun_path, sizeof address.sun_path - 1);
    if (socket < 0 ||
        ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        FailConnection("cannot connect");
    return socket;
}

} // namespace

BareConnection::BareConnection(const std::string &socketFile) : m_socket(ConnectTo(socketFile))
{
    SendBytes(Opening());
}

void BareConnection::Send(const std::string &message)
{
    std::string framed(1, '\0');
    AppendBytes(framed, std::uint32_t(message.size()), 4);
    SendBytes(FrameOf(Data, 0, k_stream, framed + message));
}

void BareConnection::SendBytes(std::string_view bytes)
{
    if (::send(m_socket.Number(), bytes.data(), bytes.size(), MSG_NOSIGNAL) !=
        ssize_t(bytes.size()))
        FailConnection("cannot send");
}

bool BareConnection::Read(const std::function<void(std::string_view message)> &take)
{
    std::array<char, 64 << 10> room; // NOLINT(*-member-init): only what is read is looked at.
    const ssize_t size = ::recv(m_socket.Number(), room.data(), room.size(), MSG_DONTWAIT);
    if (size < 0 && (errno == EAGAIN || errno == EINTR))
        return true;
    if (size <= 0)
        return false;
    m_read.append(room.data(), std::size_t(size));

    std::string_view left = m_read;
    while (left.size() >= k_head_bytes)
    {
        const std::size_t bytes = ReadNumber(left.substr(0, 3));
        if (left.size() < k_head_bytes + bytes)
            break;
        if (!TakeFrame(std::uint8_t(left[3]), std::uint8_t(left[4]),
                       left.substr(k_head_bytes, bytes)))
            return false;
        left.remove_prefix(k_head_bytes + bytes);
    }
    m_read.erase(0, m_read.size() - left.size());

    left = m_data;
    while (left.size() >= k_prefix_bytes)
    {
        const std::size_t bytes = ReadNumber(left.substr(1, 4));
        if (left.size() < k_prefix_bytes + bytes)
            break;
        take(left.substr(k_prefix_bytes, bytes));
        left.remove_prefix(k_prefix_bytes + bytes);
    }
    m_data.erase(0, m_data.size() - left.size());
    return true;
}

bool BareConnection::TakeFrame(unsigned type, unsigned flags, std::string_view payload)
{
    if (type == Data)
        m_data += payload;
    else if (type == Settings && (flags & k_ack) == 0)
        SendBytes(FrameOf(Settings, k_ack, 0, {}));
    else if (type == Ping && (flags & k_ack) == 0)
        SendBytes(FrameOf(Ping, k_ack, 0, payload));
    return type != GoAway && type != Reset &&
           !((type == Data || type == Headers) && (flags & k_end_stream) != 0);
}

} // namespace bench
