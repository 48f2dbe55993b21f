#include "ostrel/UID.h"

#include <algorithm>
#include <boost/uuid/nil_generator.hpp>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/string_generator.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <stdexcept>

#include "ostrel/Exception.h"

namespace ostrel
{

namespace
{

// Boost's reader takes braces and leaves out dashes as well; one identifier has one text here.
bool HasCanonicalForm(const String &text)
{
    constexpr std::string_view k_form = "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx";
    const auto fits = [](char form, char character)
    {
        const bool isHex = (character >= '0' && character <= '9') ||
                           (character >= 'a' && character <= 'f') ||
                           (character >= 'A' && character <= 'F');
        return form == '-' ? character == '-' : isHex;
    };
    return std::equal(k_form.begin(), k_form.end(), text.begin(), text.end(), fits);
}

} // namespace

UID::UID(bool makeNew)
    : m_value(makeNew ? boost::uuids::random_generator()() : boost::uuids::nil_uuid())
{
}

UID::UID(const String &text, bool strict) : UID(false)
{
    if (!FromString(text) && strict)
        throw new Exception("\"" + text + "\" is no identifier");
}

bool UID::FromString(const String &text)
{
    if (!HasCanonicalForm(text))
        return false;

    const boost::uuids::uuid value = boost::uuids::string_generator()(text.begin(), text.end());
    if (value.is_nil())
        return false;
    m_value = value;
    return true;
}

String UID::ToString() const
{
    return boost::uuids::to_string(m_value);
}

bool UID::IsNil() const
{
    return m_value.is_nil();
}

} // namespace ostrel
