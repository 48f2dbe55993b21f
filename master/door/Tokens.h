#pragma once

#include <span>
#include <vector>

#include "master/door/Identity.h"
#include "ostrel/Path.h"

namespace master
{

using ostrel::Path;

/// What is kept of a token: never the token itself.
struct TokenRecord
{
    String id; ///< Short, for people: what `token remove` takes.
    String user;
    Role role = Role::Watch;
    String hash;    ///< SHA-256 of the token, in hex. A token is 256 random bits, so that suffices.
    String created; ///< ISO 8601, UTC.
};

/// A token that nobody else has, and its record. The token is printable.
struct NewToken
{
    String token;
    TokenRecord record;
};

/// Throws `ostrel::Exception *` where the system gives no random numbers.
NewToken MakeToken(const String &user, Role role);

/// Why nobody can have this name; empty for one that can be: 1 to 64 letters, digits and "._-@",
/// not "-" first.
String CheckUserName(const String &user);

/// In lower-case hex.
String HashOf(const String &token);

/// The record of this token; null where there is none. Takes the same time wherever hashes differ.
const TokenRecord *FindToken(std::span<const TokenRecord> tokens, const String &token);

/// The file of a data folder that holds the tokens.
Path TokensFileIn(const Path &data);

/// The tokens of a file; none where it is not there. Throws `ostrel::Exception *`, naming the file,
/// where it is damaged or open to others.
std::vector<TokenRecord> LoadTokens(const Path &file);

/// Writes them so that a running Master, or a crash, meets the old tokens or these.
void SaveTokens(const Path &file, std::span<const TokenRecord> tokens);

} // namespace master
