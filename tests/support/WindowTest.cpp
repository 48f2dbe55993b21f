#include "tests/support/WindowTest.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <gtk/gtk.h>
#include <memory>
#include <optional>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>
#include <wx/dialog.h>
#include <wx/evtloop.h>
#include <wx/toplevel.h>

#include "ostrel/Descriptor.h"
#include "tests/support/InputCount.h"
#include "tests/support/TestWatch.h"
#include "tests/support/XWindow.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int k_slice_ms = 20;
constexpr int k_patience_ms = 20'000;
constexpr int k_end_of_dialog_ms = 10'000;
constexpr int k_frame_ms = 5'000;
constexpr unsigned k_look_ms = 5;

/// A test that has failed comes to its end soon, with its reason.
int StillWorth(int timeoutMs)
{
    return testing::Test::HasFailure() ? std::min(timeoutMs, 1'000) : timeoutMs;
}

/// Whether a child of this process has ended, for which it is waited a while.
bool HasEnded(pid_t process)
{
    const ostrel::Descriptor handle(int(syscall(SYS_pidfd_open, process, 0)));
    pollfd ended{handle.Number(), POLLIN, 0};
    return poll(&ended, 1, k_patience_ms) == 1;
}

void RunTool(std::vector<std::string> arguments)
{
    std::vector<char *> list;
    for (std::string &argument : arguments)
        list.push_back(argument.data());
    list.push_back(nullptr);

    pid_t process = 0;
    ASSERT_EQ(posix_spawnp(&process, list[0], nullptr, nullptr, list.data(), environ), 0)
        << arguments[0];
    // It stands still where somebody has grabbed the display.
    if (!HasEnded(process))
        kill(process, SIGKILL);
    int status = 0;
    waitpid(process, &status, 0);
    EXPECT_EQ(status, 0) << arguments[0] << ' ' << arguments[1];
}

/// A window that GTK knows to be on the screen and to have the keyboard; null for none.
GtkWindow *WindowWithKeyboard()
{
    GList *windows = gtk_window_list_toplevels();
    GtkWindow *found = nullptr;
    for (const GList *node = windows; node && !found; node = node->next)
    {
        auto *window = static_cast<GtkWindow *>(node->data);
        if (gtk_widget_get_mapped(GTK_WIDGET(window)) && gtk_window_is_active(window) &&
            gtk_window_has_toplevel_focus(window))
            found = window;
    }
    g_list_free(windows);
    return found;
}

/// A menu that is open takes the keys, whoever has the keyboard.
bool IsMenuOpen()
{
    return GTK_IS_MENU_SHELL(gtk_grab_get_current());
}

std::string TitleOf(GtkWindow *window)
{
    const char *title = window ? gtk_window_get_title(window) : nullptr;
    return title ? title : "(none)";
}

/// When a dialog has closed, the keyboard is nowhere until the window manager gives it to the
/// window below; keys that come before are lost.
void WaitForKeyboard()
{
    ASSERT_TRUE(
        PumpUntil([] { return IsMenuOpen() || (WindowWithKeyboard() && HasServersKeyboard()); }))
        << "no window of this program has the keyboard";
}

/// Runs xdotool and waits until `handled` has grown by `count`. Keys and clicks that do not arrive
/// are a fatal failure.
void Input(const std::vector<std::string> &arguments, int (*handled)(), int count)
{
    if (testing::Test::HasFatalFailure())
        return;
    const int before = handled();
    std::vector<std::string> command{"xdotool"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    RunTool(command);
    ASSERT_TRUE(PumpUntil([&] { return handled() >= before + count; }))
        << "the input did not arrive: xdotool " << arguments[0] << ' ' << arguments[1]
        << "; the keyboard is with the window " << TitleOf(WindowWithKeyboard());
    PumpIdle();
}

void KeyInput(const std::vector<std::string> &arguments, int releases)
{
    WaitForKeyboard();
    Input(arguments, ReleasesHandled, releases);
}

std::vector<std::string> Split(const std::string &text, char separator)
{
    std::vector<std::string> parts;
    std::size_t begin = 0;
    while (begin < text.size())
    {
        const std::size_t end = std::min(text.find(separator, begin), text.size());
        if (end > begin)
            parts.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return parts;
}

gboolean CountFrame(GtkWidget * /*widget*/, GdkFrameClock * /*clock*/, gpointer frames)
{
    ++*static_cast<int *>(frames);
    return G_SOURCE_CONTINUE;
}

/// GTK moves and paints its widgets with the next frame: a click before that hits what was there.
/// The count grows as a frame begins, so the second one has seen the first one's layout. GTK's own
/// wait has no end for a window that is never painted, as one that is being closed.
void WaitForFrame(const wxWindow &window)
{
    int frames = 0;
    GtkWidget *top = gtk_widget_get_toplevel(window.GetHandle());
    g_object_ref(top); // It may be closed meanwhile.
    const guint counter = gtk_widget_add_tick_callback(top, CountFrame, &frames, nullptr);
    EXPECT_TRUE(PumpUntil([&frames] { return frames >= 2; }, k_frame_ms))
        << "the window is not painted: " << TitleOf(GTK_WINDOW(top));
    gtk_widget_remove_tick_callback(top, counter);
    g_object_unref(top);
}

/// Relative to the X window: GTK learns a moment late where the window manager has put it, and what
/// it makes of screen coordinates until then is off by the frame.
std::vector<std::string> MoveTo(const wxWindow &window, const wxPoint &point)
{
    WaitForFrame(window);
    GdkWindow *topWindow = gtk_widget_get_window(gtk_widget_get_toplevel(window.GetHandle()));
    wxPoint origin;
    gdk_window_get_origin(topWindow, &origin.x, &origin.y);
    const wxPoint place = window.ClientToScreen(point) - origin;
    return {"mousemove", "--window", std::to_string(XWindowOf(window)), std::to_string(place.x),
            std::to_string(place.y)};
}

void Append(std::vector<std::string> &list, const std::vector<std::string> &more)
{
    list.insert(list.end(), more.begin(), more.end());
}

wxDialog *FindModal()
{
    for (auto node = wxTopLevelWindows.GetLast(); node; node = node->GetPrevious())
        if (auto *dialog = dynamic_cast<wxDialog *>(node->GetData()); dialog && dialog->IsModal())
            return dialog;
    return nullptr;
}

bool IsReady(const wxTopLevelWindow &window)
{
    const GtkWidget *widget = window.GetHandle();
    return window.IsShownOnScreen() && gtk_window_is_active(GTK_WINDOW(widget)) &&
           gtk_window_has_toplevel_focus(GTK_WINDOW(widget));
}

/// Waits for a modal dialog and runs the steps in it. It looks from time to time, so that whatever
/// event opens the dialog is handled outside of it.
class ModalSteps
{
public:
    explicit ModalSteps(const std::function<void(wxTopLevelWindow &)> &steps)
        : m_steps(steps), m_source(g_timeout_add(k_look_ms, Look, this))
    {
    }
    ~ModalSteps()
    {
        if (m_source)
            g_source_remove(m_source);
    }
    ModalSteps(const ModalSteps &) = delete;
    ModalSteps &operator=(const ModalSteps &) = delete;

    bool HaveRun() const
    {
        return m_haveRun;
    }

private:
    static gboolean Look(gpointer self)
    {
        return static_cast<ModalSteps *>(self)->LookForDialog() ? G_SOURCE_CONTINUE
                                                                : G_SOURCE_REMOVE;
    }

    /// Whether to look again. What opens the dialog may take its time, and has its own end; a
    /// dialog that comes up late would stay for good if nobody looked any more.
    bool LookForDialog()
    {
        wxDialog *dialog = FindModal();
        if (!dialog || dialog == m_outer)
            return true;
        TestIsAlive();
        if (!m_end)
            m_end = Clock::now() + std::chrono::milliseconds(StillWorth(k_patience_ms));
        if (!IsReady(*dialog) && Clock::now() < *m_end)
            return true;

        m_source = 0;
        if (IsReady(*dialog))
            Run(*dialog);
        else
            GiveUp(*dialog);
        return false;
    }

    void GiveUp(wxDialog &dialog)
    {
        m_haveRun = true; // It came up.
        dialog.EndModal(0);
        FAIL() << "the dialog does not get the keyboard: " << dialog.GetTitle();
    }

    void Run(wxDialog &dialog)
    {
        m_haveRun = true;
        PumpIdle();
        m_steps(dialog);
        // GTK shows a button that a key presses for a moment before it acts.
        if (!PumpUntil([&dialog] { return FindModal() != &dialog; }, k_end_of_dialog_ms))
        {
            ADD_FAILURE() << "the dialog is still open";
            dialog.EndModal(0);
        }
    }

    const std::function<void(wxTopLevelWindow &)> &m_steps;
    const wxDialog *m_outer = FindModal();  // One dialog may open another.
    std::optional<Clock::time_point> m_end; // For the keyboard, once the dialog is there.
    bool m_haveRun = false;
    guint m_source;
};

} // namespace

void SetUpWindowTests()
{
    CountInput();
    // What is on the screen is what is, not on its way there.
    g_object_set(gtk_settings_get_default(), "gtk-enable-animations", FALSE, nullptr);
    WatchTest();
}

bool PumpUntil(const std::function<bool()> &condition, int timeoutMs)
{
    const Clock::time_point end = Clock::now() + std::chrono::milliseconds(StillWorth(timeoutMs));
    while (!condition())
    {
        TestIsAlive();
        if (Clock::now() >= end)
            return false;
        wxEventLoopBase::GetActive()->DispatchTimeout(k_slice_ms);
    }
    return true;
}

void PumpIdle()
{
    // Shared with the closure, which may come after the wait was given up.
    const auto wasIdle = std::make_shared<bool>(false);
    wxTheApp->CallAfter([wasIdle] { *wasIdle = true; });
    PumpUntil([&wasIdle] { return *wasIdle && !gtk_events_pending(); }, 2000);
}

void ShowActive(wxTopLevelWindow &window)
{
    window.Show();
    window.Raise();
    ASSERT_TRUE(PumpUntil([&window] { return IsReady(window); })) << "the window is not active";
    PumpIdle();
}

wxRect PlaceOnDisplay(const wxTopLevelWindow &window)
{
    GdkRectangle place{};
    if (GdkWindow *shown = gtk_widget_get_window(window.GetHandle()))
        gdk_window_get_frame_extents(shown, &place);
    return {place.x, place.y, place.width, place.height};
}

void PutOnDisplay(wxTopLevelWindow &window, const wxRect &place)
{
    const auto isThere = [&]
    { return PlaceOnDisplay(window) == place && window.GetRect() == place; };
    // The window manager may still be placing the window, and then has the last word.
    for (int attempt = 0; attempt < 10; ++attempt)
    {
        window.SetSize(wxRect(place).Deflate(1));
        window.SetSize(place);
        if (PumpUntil(isThere, 2'000))
            return;
    }
    ADD_FAILURE() << "the window does not go where it is put";
}

bool GetsKeyboard(const wxWindow &window)
{
    return PumpUntil([&window] { return window.HasFocus(); });
}

void PressKeys(const std::string &keys)
{
    for (const std::string &key : Split(keys, ' '))
        KeyInput({"key", key}, int(Split(key, '+').size()));
}

void TypeText(const std::string &text)
{
    KeyInput({"type", "--delay", "2", text}, int(text.size()));
}

void ClickAt(const wxWindow &window, const wxPoint &point, const std::string &modifiers, int button)
{
    const std::vector<std::string> held = Split(modifiers, '+');
    std::vector<std::string> list = MoveTo(window, point);
    for (const std::string &modifier : held)
        Append(list, {"keydown", modifier});
    Append(list, {"click", std::to_string(button)});
    for (const std::string &modifier : held)
        Append(list, {"keyup", modifier});
    Input(list, ReleasesHandled, int(held.size()) + 1);
}

void DoubleClickAt(const wxWindow &window, const wxPoint &point, int button)
{
    std::vector<std::string> list = MoveTo(window, point);
    Append(list, {"click", "--repeat", "2", "--delay", "20", std::to_string(button)});
    Input(list, ReleasesHandled, 2);
}

void PressButtonAt(const wxWindow &window, const wxPoint &point)
{
    std::vector<std::string> list = MoveTo(window, point);
    Append(list, {"mousedown", "1"});
    Input(list, PressesHandled, 1);
}

void ReleaseButtonAt(const wxWindow &window, const wxPoint &point)
{
    std::vector<std::string> list = MoveTo(window, point);
    Append(list, {"mouseup", "1"});
    Input(list, ReleasesHandled, 1);
}

void DragFromTo(const wxWindow &window, const wxPoint &from, const wxPoint &to)
{
    std::vector<std::string> list = MoveTo(window, from);
    Append(list, {"mousedown", "1"});
    Append(list, MoveTo(window, (from + to) / 2));
    Append(list, MoveTo(window, to));
    Append(list, {"mouseup", "1"});
    Input(list, ReleasesHandled, 1);
}

void WhileModal(const std::function<void()> &show,
                const std::function<void(wxTopLevelWindow &)> &steps)
{
    ModalSteps watch(steps);
    show();
    ASSERT_TRUE(watch.HaveRun()) << "no dialog came up";
}

wxColour PixelAt(const wxWindow &window, const wxPoint &point)
{
    const wxImage pixel = ImageOf(window, {point, wxSize(1, 1)});
    if (!pixel.IsOk())
        return {};
    return {pixel.GetRed(0, 0), pixel.GetGreen(0, 0), pixel.GetBlue(0, 0)};
}

wxImage ImageOf(const wxWindow &window, const wxRect &place)
{
    GdkWindow *root = gdk_get_default_root_window();
    const wxRect screen(0, 0, gdk_window_get_width(root), gdk_window_get_height(root));
    const wxRect part =
        wxRect(window.ClientToScreen(place.GetPosition()), place.GetSize()).Intersect(screen);
    GdkPixbuf *pixels =
        part.IsEmpty() ? nullptr
                       : gdk_pixbuf_get_from_window(root, part.x, part.y, part.width, part.height);
    if (!pixels)
        return {};

    const guchar *bytes = gdk_pixbuf_read_pixels(pixels);
    const int line = gdk_pixbuf_get_rowstride(pixels);
    const int step = gdk_pixbuf_get_n_channels(pixels);
    wxImage image(part.width, part.height);
    for (int y = 0; y < part.height; ++y)
        for (int x = 0; x < part.width; ++x)
        {
            const guchar *pixel = bytes + y * line + x * step;
            image.SetRGB(x, y, pixel[0], pixel[1], pixel[2]);
        }
    g_object_unref(pixels);
    return image;
}

void Screenshot(const wxTopLevelWindow &window, const std::string &name)
{
    const char *folder = std::getenv("ORDWICK_ARTEFACTS");
    if (!folder)
        return;

    PumpIdle();
    WaitForFrame(window);
    const wxRect place = window.GetRect();
    const std::string crop = std::to_string(place.width) + 'x' + std::to_string(place.height) +
                             '+' + std::to_string(place.x) + '+' + std::to_string(place.y);
    RunTool({"import", "-silent", "-window", "root", "-crop", crop,
             std::string(folder) + '/' + name + ".png"});
}
