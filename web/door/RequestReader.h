#pragma once

#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "web/door/Head.h"
#include "web/door/Refusal.h"

namespace web
{

/// Makes requests of the bytes of a connection, one after the other. Knows no socket.
///
/// Nothing of a body is read before somebody has looked at the head and said how much it may be.
class RequestReader
{
public:
    enum class Progress
    {
        NeedsMore, ///< Of what comes next.
        IsThere,
        IsRefused, ///< `Why` says why; nothing more can be read of this connection.
    };

    /// Lengths of a head as a whole, and of the line that it begins with.
    RequestReader(std::size_t headerBytes, std::size_t targetBytes);

    /// What the connection has brought.
    void Take(std::string_view bytes);
    /// Whether there is something of a request that has no head yet.
    bool HasBegun() const
    {
        return !m_bytes.empty();
    }

    Progress ReadHead();
    const Head &GetHead() const
    {
        return m_head;
    }

    /// Once there is a head, and again with what comes after.
    Progress ReadBody(std::size_t mostBytes);
    std::string TakeBody();

    /// Forgets the request that is whole: the next one may have come already.
    void Next();

    const Refusal &Why() const
    {
        return m_refusal;
    }

private:
    using Parser = boost::beast::http::request_parser<boost::beast::http::string_body>;

    Progress Refuse(unsigned status, const String &sentence);
    Progress RefuseTooLong();
    Progress RefuseBody(std::size_t mostBytes);
    void ReadFields();

    const std::size_t m_headerBytes;
    const std::size_t m_targetBytes;
    std::string m_bytes;        // Not read yet.
    std::size_t m_searched = 0; // Of them, for the end of the head.
    std::optional<Parser> m_parser;
    bool m_isBodyBegun = false;
    Head m_head;
    Refusal m_refusal;
};

} // namespace web
