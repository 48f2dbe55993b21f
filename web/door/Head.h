#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace web
{

/// What a request says of itself, before anybody has believed a word. The texts belong to the
/// reader that has read it.
struct Head
{
    std::string_view method; ///< Any token.
    std::string_view target;
    bool keepsAlive = false;
    bool isHead = false; ///< Its answer has no body.

    std::optional<std::string_view> host;
    std::optional<std::string_view> origin;
    std::optional<std::string_view> fetchSite; ///< "Sec-Fetch-Site"
    std::optional<std::string_view> authorization;
    std::optional<std::string_view> cookie;
    std::optional<std::string_view> contentType;
    std::optional<std::string_view> expect;
    std::optional<std::string_view> transferEncoding;
    std::string_view ifNoneMatch;
    /// One of those that decide something is there twice: who reads it decides what it says.
    bool isRepeated = false;

    std::optional<std::uint64_t> contentLength;

    bool HasBody() const
    {
        return transferEncoding || contentLength.value_or(0) > 0;
    }
};

} // namespace web
