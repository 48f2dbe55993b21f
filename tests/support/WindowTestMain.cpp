#include <gtk/gtk.h>

#include <gtest/gtest.h>
#include <wx/evtloop.h>
#include <wx/init.h>
#include <wx/toplevel.h>

#include "ostrel/Log.h"
#include "tests/support/WindowTest.h"
#include "wxcorvan/wxcAssert.h"

namespace
{

GLogWriterOutput FailOnCritical(GLogLevelFlags level, const GLogField *fields, gsize count,
                                gpointer unused)
{
    if (level & (G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_ERROR))
        for (gsize i = 0; i < count; ++i)
            if (g_strcmp0(fields[i].key, "MESSAGE") == 0)
                ADD_FAILURE() << "GTK: " << static_cast<const char *>(fields[i].value);
    return g_log_writer_default(level, fields, count, unused);
}

/// Windows that a test left behind must not reach into the next one.
class CloseWindows : public testing::EmptyTestEventListener
{
    void OnTestEnd(const testing::TestInfo & /*info*/) override
    {
        const wxWindowList windows = wxTopLevelWindows;
        for (wxWindow *window : windows)
            if (wxTopLevelWindows.Find(window))
                window->Destroy();
        wxTheApp->ProcessPendingEvents();
        PumpIdle();
    }
};

int RunTests()
{
    wxGUIEventLoop loop;
    const wxEventLoopActivator active(&loop);
    testing::UnitTest::GetInstance()->listeners().Append(new CloseWindows);
    return RUN_ALL_TESTS();
}

} // namespace

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (testing::GTEST_FLAG(list_tests))
        return RUN_ALL_TESTS();

    g_log_set_writer_func(FailOnCritical, nullptr, nullptr);
    wxApp::SetInstance(MakeTestApp());
    if (!wxEntryStart(argc, argv))
        return EXIT_FAILURE;
    SetUpWindowTests();
    wxcorvan::wxcSetAssertHandler([](const ostrel::String &text)
                                  { ADD_FAILURE() << "toolkit assertion: " << text; });

    int status = EXIT_FAILURE;
    if (wxTheApp->CallOnInit())
    {
        status = RunTests();
        wxTheApp->OnExit();
    }
    wxEntryCleanup();
    return status;
}
