#pragma once

#include <string>
#include <string_view>

#include "ostrel/String.h"

namespace web
{

using ostrel::String;

/// 256 random bits of the system, as 64 hexadecimal digits.
String MakeSecretText();

/// SHA-256, 32 bytes. Secrets are looked up by it: how long that takes tells nothing of them.
std::string DigestOf(std::string_view text);

/// The same as hexadecimal digits.
String DigestText(std::string_view text);

} // namespace web
