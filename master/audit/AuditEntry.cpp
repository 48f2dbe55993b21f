#include "master/audit/AuditEntry.h"

#include <nlohmann/json.hpp>

namespace master
{

namespace
{

using Json = nlohmann::ordered_json;

void PutUnlessEmpty(Json &line, const char *key, const String &value)
{
    if (!value.empty())
        line[key] = std::string(value);
}

void PutValue(Json &line, const std::string &key, const String &value, std::size_t mostBytes)
{
    line[key] = std::string(value.substr(0, mostBytes));
    if (value.size() > mostBytes)
        line[key + "Bytes"] = value.size();
}

} // namespace

AuditEntry EntryOf(const Identity &who, const String &what, const UID &job)
{
    AuditEntry entry;
    entry.user = who.user;
    entry.peer = who.peer;
    entry.what = what;
    entry.job = job;
    return entry;
}

String AllParameters(const corvan::Job &job)
{
    String all;
    for (const auto &[name, value] : job.Parameters())
        all += name + "=" + value + "\n";
    return all;
}

std::string AuditLine(const AuditEntry &entry, const std::string &time, std::size_t mostBytes)
{
    Json line;
    line["time"] = time;
    line["user"] = std::string(entry.user);
    line["peer"] = std::string(entry.peer);
    line["what"] = std::string(entry.what);
    if (!entry.job.IsNil())
        line["job"] = std::string(entry.job.ToString());
    PutUnlessEmpty(line, "name", entry.name);
    if (!entry.name.empty())
    {
        PutValue(line, "old", entry.oldValue, mostBytes);
        PutValue(line, "new", entry.newValue, mostBytes);
    }
    PutUnlessEmpty(line, "refused", entry.refused);
    // A cut may have gone through a character.
    return line.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

} // namespace master
