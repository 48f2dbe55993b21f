#include "web/door/RequestReader.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "ostrel/CallEntry.h"

namespace web
{

namespace http = boost::beast::http;
using boost::beast::error_code;
using ostrel::_CallEntry;

namespace
{

const std::string_view k_head_end = "\r\n\r\n";

std::string_view StandardView(boost::beast::string_view text)
{
    return {text.data(), text.size()};
}

} // namespace

RequestReader::RequestReader(std::size_t headerBytes, std::size_t targetBytes)
    : m_headerBytes(headerBytes), m_targetBytes(targetBytes)
{
    _CallEntry call("RequestReader::RequestReader", __FILE__, __LINE__);

    Next();
}

void RequestReader::Take(std::string_view bytes)
{
    _CallEntry call("RequestReader::Take", __FILE__, __LINE__);

    m_bytes += bytes;
}

RequestReader::Progress RequestReader::ReadHead()
{
    _CallEntry call("RequestReader::ReadHead", __FILE__, __LINE__);

    // The parser's own limit is one of each field: it gets the head as a whole, or not at all.
    const std::size_t end = m_bytes.find(k_head_end, m_searched);
    const std::size_t size = end == std::string::npos ? m_bytes.size() : end + k_head_end.size();
    if (size > m_headerBytes)
        return RefuseTooLong();
    if (end == std::string::npos)
    {
        m_searched = m_bytes.size() - std::min(m_bytes.size(), k_head_end.size() - 1);
        return Progress::NeedsMore;
    }

    error_code error;
    m_parser->put(boost::asio::buffer(m_bytes.data(), size), error);
    if (error || !m_parser->is_header_done())
        return Refuse(400, "this is no request of HTTP/1.1");
    m_bytes.erase(0, size);
    ReadFields();
    if (m_head.target.size() > m_targetBytes)
        return Refuse(414, "the address is too long");
    return Progress::IsThere;
}

RequestReader::Progress RequestReader::ReadBody(std::size_t mostBytes)
{
    _CallEntry call("RequestReader::ReadBody", __FILE__, __LINE__);

    if (m_head.contentLength.value_or(0) > mostBytes)
        return RefuseBody(mostBytes);
    if (!std::exchange(m_isBodyBegun, true))
    {
        m_parser->eager(true);
        m_parser->body_limit(mostBytes);
    }
    std::size_t read = 0;
    while (!m_parser->is_done() && read < m_bytes.size())
    {
        // What stands between the pieces of a body is no longer than a header may be.
        const std::size_t window = std::min(m_bytes.size() - read, m_headerBytes);
        error_code error;
        const std::size_t count =
            m_parser->put(boost::asio::buffer(m_bytes.data() + read, window), error);
        read += count;
        if (error == http::error::body_limit)
            return RefuseBody(mostBytes);
        const bool needsMore = error == http::error::need_more;
        if ((error && !needsMore) || (needsMore && count == 0 && window == m_headerBytes))
            return Refuse(400, "the body is not what the request says");
        if (count == 0)
            break;
    }
    m_bytes.erase(0, read);
    return m_parser->is_done() ? Progress::IsThere : Progress::NeedsMore;
}

std::string RequestReader::TakeBody()
{
    _CallEntry call("RequestReader::TakeBody", __FILE__, __LINE__);

    return std::move(m_parser->get().body());
}

void RequestReader::Next()
{
    _CallEntry call("RequestReader::Next", __FILE__, __LINE__);

    m_head = {};
    m_searched = 0;
    m_isBodyBegun = false;
    m_parser.emplace();
    m_parser->header_limit(std::numeric_limits<std::uint32_t>::max());
    m_parser->body_limit(std::numeric_limits<std::uint64_t>::max());
}

RequestReader::Progress RequestReader::Refuse(unsigned status, const String &sentence)
{
    _CallEntry call("RequestReader::Refuse", __FILE__, __LINE__);

    m_refusal = {status, sentence};
    return Progress::IsRefused;
}

RequestReader::Progress RequestReader::RefuseTooLong()
{
    _CallEntry call("RequestReader::RefuseTooLong", __FILE__, __LINE__);

    if (m_bytes.find("\r\n") >= m_headerBytes)
        return Refuse(414, "the address is too long");
    return Refuse(431, "the header is too long");
}

RequestReader::Progress RequestReader::RefuseBody(std::size_t mostBytes)
{
    _CallEntry call("RequestReader::RefuseBody", __FILE__, __LINE__);

    return Refuse(413, "the body is too long: " + std::to_string(mostBytes) +
                           " bytes are taken at most");
}

void RequestReader::ReadFields()
{
    _CallEntry call("RequestReader::ReadFields", __FILE__, __LINE__);

    const auto &request = m_parser->get();
    m_head.method = StandardView(request.method_string());
    m_head.target = StandardView(request.target());
    m_head.keepsAlive = request.version() >= 11 && m_parser->keep_alive();
    m_head.isHead = request.method() == http::verb::head;
    if (const auto length = m_parser->content_length())
        m_head.contentLength = *length;

    for (const auto &field : request)
    {
        const std::string_view value = StandardView(field.value());
        const auto once = [&](std::optional<std::string_view> &text)
        {
            m_head.isRepeated |= text.has_value();
            text = value;
        };
        switch (field.name())
        {
        case http::field::host:
            once(m_head.host);
            break;
        case http::field::origin:
            once(m_head.origin);
            break;
        case http::field::authorization:
            once(m_head.authorization);
            break;
        case http::field::cookie:
            once(m_head.cookie);
            break;
        case http::field::content_type:
            once(m_head.contentType);
            break;
        case http::field::if_none_match:
            m_head.ifNoneMatch = value;
            break;
        case http::field::expect:
            once(m_head.expect);
            break;
        case http::field::transfer_encoding:
            once(m_head.transferEncoding);
            break;
        default:
            if (boost::beast::iequals(field.name_string(), "Sec-Fetch-Site"))
                once(m_head.fetchSite);
        }
    }
}

} // namespace web
