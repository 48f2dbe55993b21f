#pragma once

#include <memory>
#include <string>

#include "ostrel/Exception.h"

/// Runs `action` and gives the text of the process exception that it throws; "(nothing thrown)" for
/// none. Other exceptions pass.
template <typename Action> std::string ThrownByProcess(Action action)
{
    try
    {
        action();
    }
    catch (ostrel::ProcessException *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return error->Text();
    }
    return "(nothing thrown)";
}

/// Runs `action` and gives the text of the exception that it throws; "(nothing thrown)" for none.
template <typename Action> std::string Thrown(Action action)
{
    try
    {
        action();
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        return error->Text();
    }
    return "(nothing thrown)";
}
