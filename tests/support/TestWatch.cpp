#include "tests/support/TestWatch.h"

#include <csignal>
#include <cstdlib>
#include <execinfo.h>
#include <gtk/gtk.h>
#include <string>
#include <unistd.h>

#include <gtest/gtest.h>

#include "wxcorvan/ModalDialogs.h"

namespace
{

constexpr unsigned k_watch_ms = 250;
constexpr int k_patient_looks = 15'000 / k_watch_ms;
constexpr unsigned k_patience_s = 60;
constexpr int k_most_functions = 64;

bool s_isWatched = false;
int s_looks = 0; // Since the test was alive.

/// Titles and texts of all windows on the screen.
std::string ShownWindows()
{
    std::string shown;
    GList *windows = gtk_window_list_toplevels();
    for (const GList *node = windows; node; node = node->next)
    {
        auto *window = static_cast<GtkWidget *>(node->data);
        const char *title = gtk_window_get_title(GTK_WINDOW(window));
        if (!gtk_widget_get_mapped(window) || !title)
            continue;
        shown += std::string("\n  ") + title;
        gchar *text = nullptr;
        if (GTK_IS_MESSAGE_DIALOG(window))
            g_object_get(window, "text", &text, nullptr);
        shown += text ? std::string(": ") + text : std::string();
        g_free(text);
    }
    g_list_free(windows);
    return shown;
}

gboolean LookForLostDialog(gpointer /*unused*/)
{
    if (++s_looks < k_patient_looks)
        return G_SOURCE_CONTINUE;
    s_looks = 0;
    const std::string shown = ShownWindows();
    if (wxcorvan::CancelModalDialog())
        ADD_FAILURE() << "a dialog came up that nobody waits for; shown are" << shown;
    return G_SOURCE_CONTINUE;
}

/// By system calls alone: the main thread may be anywhere.
void OnStandstill(int /*signal*/)
{
    constexpr char k_text[] = "the test has stood still for a minute, in\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, k_text, sizeof k_text - 1);
    void *functions[k_most_functions];
    backtrace_symbols_fd(functions, backtrace(functions, k_most_functions), STDERR_FILENO);
    _exit(EXIT_FAILURE);
}

} // namespace

void WatchTest()
{
    if (s_isWatched)
        return;
    s_isWatched = true;
    g_timeout_add(k_watch_ms, LookForLostDialog, nullptr);
    void *first = nullptr;
    backtrace(&first, 1); // Loads what it needs, which no handler of a signal may.
    std::signal(SIGALRM, OnStandstill);
    TestIsAlive();
}

void TestIsAlive()
{
    if (!s_isWatched)
        return;
    s_looks = 0;
    alarm(k_patience_s);
}
