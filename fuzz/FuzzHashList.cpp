// A hash list as somebody may have sent it: it is taken or refused, and what is taken is the same
// once it was written and read again, and leads nowhere else.
#include <cstdint>
#include <memory>
#include <string_view>

#include "check/CheckException.h"
#include "check/HashList.h"
#include "fuzz/Require.h"

using namespace check;

namespace
{

void RequireOf(const HashList &list)
{
    HashList kept;
    kept.tool = k_ListTool;
    for (const auto &[path, file] : list.files)
    {
        Require(!path.starts_with('/') && ("/" + path + "/").find("/../") == std::string::npos,
                "a path stays in its folder");
        if (file.trouble.empty() && CanBeListed(path) && !path.empty())
            kept.files[path] = file;
    }
    const HashList again = ParseHashList(HashListText(kept), "again");
    Require(again.files.size() == kept.files.size(), "no file is lost");
    for (const auto &[path, file] : kept.files)
        Require(again.files.at(path).digits == file.digits &&
                    again.files.at(path).size == file.size,
                "a hash is the same when read again");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    try
    {
        RequireOf(ParseHashList({reinterpret_cast<const char *>(data), size}, "fuzz"));
    }
    catch (CheckException *raw)
    {
        const std::unique_ptr<ostrel::Exception> refused(raw);
    }
    return 0;
}
