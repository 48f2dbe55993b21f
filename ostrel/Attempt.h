#pragma once

#include <exception>
#include <memory>
#include <new>
#include <optional>

#include "ostrel/Exception.h"

namespace ostrel
{

/// Runs `work` for a caller that has to go on whatever comes of it. Gives the reason where it
/// threw: an `Exception *`, which is deleted, or one of the standard library's and of those built
/// on it. Nothing when all went well.
template <typename Work> std::optional<String> Attempt(Work work)
{
    try
    {
        work();
        return std::nullopt;
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> error(raw);
        return error->Text();
    }
    catch (const std::bad_alloc &)
    {
        return String("out of memory");
    }
    catch (const std::exception &error)
    {
        return String(error.what());
    }
}

} // namespace ostrel
