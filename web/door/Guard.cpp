#include "web/door/Guard.h"

#include <algorithm>
#include <cctype>

#include "ostrel/CallEntry.h"

namespace web
{

using ostrel::_CallEntry;

namespace
{

char Lower(char c)
{
    return char(std::tolower(static_cast<unsigned char>(c)));
}

bool IsSame(std::string_view text, std::string_view lower)
{
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(),
                      [](char a, char b) { return Lower(a) == b; });
}

std::string_view Trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

// The first of what a separator parts, which is taken off the text.
std::string_view TakeItem(std::string_view *text, char separator)
{
    const std::size_t end = std::min(text->find(separator), text->size());
    const std::string_view item = text->substr(0, end);
    text->remove_prefix(std::min(end + 1, text->size()));
    return Trimmed(item);
}

} // namespace

Guard::Guard(std::string scheme, const std::vector<String> &names, std::uint16_t port)
    : m_scheme(std::move(scheme))
{
    _CallEntry call("Guard::Guard", __FILE__, __LINE__);

    const std::uint16_t usual = m_scheme == "https" ? 443 : 80;
    for (const String &name : names)
    {
        std::string lower = name;
        std::transform(lower.begin(), lower.end(), lower.begin(), &Lower);
        m_hosts.push_back(lower + ":" + std::to_string(port));
        if (port == usual)
            m_hosts.push_back(lower);
    }
}

std::optional<Refusal> Guard::CheckHead(const Head &head) const
{
    _CallEntry call("Guard::CheckHead", __FILE__, __LINE__);

    if (head.isRepeated)
        return Refusal{400, "a header that decides something is there twice"};
    if (!head.host)
        return Refusal{400, "the request does not say which host it is for"};
    // The parser takes an encoding that it does not know for no body at all.
    if (head.transferEncoding && !IsSame(*head.transferEncoding, "chunked"))
        return Refusal{400, "the body comes in an encoding that is not known here"};
    if (head.expect && !IsSame(*head.expect, "100-continue"))
        return Refusal{400, "the request expects what is not known here"};
    const bool isOurs =
        std::any_of(m_hosts.begin(), m_hosts.end(),
                    [&](const std::string &host) { return IsSame(*head.host, host); });
    if (!isOurs)
        return Refusal{421, "this server is not the host that the request is for"};
    if (head.method != "GET" && head.method != "HEAD" && head.method != "POST")
        return Refusal{405, "there are GET, HEAD and POST", "Allow", "GET, HEAD, POST"};
    return std::nullopt;
}

std::optional<Refusal> Guard::CheckSite(const Head &head, bool isChange) const
{
    _CallEntry call("Guard::CheckSite", __FILE__, __LINE__);

    const Refusal refusal{403, "the request comes from another site"};
    // "none" is the address line, and no page at all.
    const bool isFromSame = head.fetchSite && *head.fetchSite == "same-origin";
    const bool isFromNone = head.fetchSite && *head.fetchSite == "none";
    if (head.fetchSite && !isFromSame && (!isFromNone || isChange))
        return refusal;
    const std::string origin = m_scheme + "://" + std::string(head.host.value_or(""));
    if (head.origin && *head.origin != origin)
        return refusal;
    if (isChange && !isFromSame && !head.origin && BearerOf(head).empty())
        return Refusal{403, "the request does not say which site it comes from"};
    return std::nullopt;
}

std::optional<Refusal> Guard::CheckBody(const Head &head)
{
    _CallEntry call("Guard::CheckBody", __FILE__, __LINE__);

    std::string_view type = head.contentType.value_or("");
    if (!IsSame(TakeItem(&type, ';'), "application/json"))
        return Refusal{415, "the body has to be JSON, with Content-Type: application/json"};
    return std::nullopt;
}

std::string_view BearerOf(const Head &head)
{
    const std::string_view text = head.authorization.value_or("");
    const std::size_t blank = std::min(text.find(' '), text.size());
    return IsSame(text.substr(0, blank), "bearer") ? Trimmed(text.substr(blank))
                                                   : std::string_view();
}

std::vector<std::string_view> CookiesOf(const Head &head, std::string_view name)
{
    std::vector<std::string_view> values;
    std::string_view text = head.cookie.value_or("");
    while (!text.empty())
    {
        const std::string_view item = TakeItem(&text, ';');
        if (item.size() > name.size() && item.starts_with(name) && item[name.size()] == '=')
            values.push_back(item.substr(name.size() + 1));
    }
    return values;
}

bool HasTag(std::string_view ifNoneMatch, std::string_view tag)
{
    while (!ifNoneMatch.empty())
    {
        std::string_view item = TakeItem(&ifNoneMatch, ',');
        if (item == "*")
            return true;
        if (item.starts_with("W/"))
            item.remove_prefix(2);
        if (item == (tag.starts_with("W/") ? tag.substr(2) : tag))
            return true;
    }
    return false;
}

} // namespace web
