#include "wxcorvan/wxcAssert.h"

#include "ostrel/Log.h"

namespace wxcorvan
{

namespace
{

AssertHandler &Handler()
{
    static AssertHandler s_handler;
    return s_handler;
}

} // namespace

void wxcSetAssertHandler(AssertHandler handler)
{
    Handler() = std::move(handler);
}

void wxcReportAssert(const ostrel::String &text)
{
    if (Handler())
        Handler()(text);
    else
        ostrel::LogError("toolkit assertion: " + text);
}

} // namespace wxcorvan
