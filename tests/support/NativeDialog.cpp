#include "tests/support/NativeDialog.h"

#include <chrono>
#include <gtk/gtk.h>
#include <optional>

#include <gtest/gtest.h>

#include "tests/support/TestWatch.h"
#include "tests/support/WindowTest.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr unsigned k_native_look_ms = 5;
constexpr int k_end_ms = 10000;
constexpr int k_keyboard_ms = 20000;

GtkWidget *FindShown(GType type)
{
    GList *windows = gtk_window_list_toplevels();
    GtkWidget *shown = nullptr;
    for (const GList *node = windows; node && !shown; node = node->next)
    {
        auto *widget = static_cast<GtkWidget *>(node->data);
        if (G_TYPE_CHECK_INSTANCE_TYPE(widget, type) && gtk_widget_get_mapped(widget))
            shown = widget;
    }
    g_list_free(windows);
    return shown;
}

bool HasKeyboard(GtkWidget *dialog)
{
    return gtk_window_is_active(GTK_WINDOW(dialog)) &&
           gtk_window_has_toplevel_focus(GTK_WINDOW(dialog));
}

/// The labels of all buttons below a widget, in their order.
void AddButtons(GtkWidget *widget, gpointer labels)
{
    auto &joined = *static_cast<std::string *>(labels);
    if (GTK_IS_BUTTON(widget))
    {
        std::string label = gtk_button_get_label(GTK_BUTTON(widget));
        std::erase(label, '_');
        joined += (joined.empty() ? "" : "|") + label;
    }
    else if (GTK_IS_CONTAINER(widget))
    {
        gtk_container_foreach(GTK_CONTAINER(widget), AddButtons, labels);
    }
}

MessageBoxTexts TextsOf(GtkWidget *box)
{
    MessageBoxTexts texts;
    texts.title = gtk_window_get_title(GTK_WINDOW(box));
    gchar *text = nullptr;
    g_object_get(box, "text", &text, nullptr);
    texts.text = text ? text : "";
    g_free(text);
    AddButtons(box, &texts.buttons);
    return texts;
}

/// Waits for a dialog of a type and runs the steps in it. It looks from time to time, since the
/// dialog runs an event loop of its own; and as long as it lives, since one that comes up late
/// would stay for good if nobody looked any more.
class DialogWatch
{
public:
    using Steps = std::function<void(GtkWidget *)>;

    DialogWatch(GType type, Steps steps)
        : m_type(type), m_steps(std::move(steps)),
          m_source(g_timeout_add(k_native_look_ms, Look, this))
    {
    }
    ~DialogWatch()
    {
        if (m_source)
            g_source_remove(m_source);
    }
    DialogWatch(const DialogWatch &) = delete;
    DialogWatch &operator=(const DialogWatch &) = delete;

    bool HasSeen() const
    {
        return m_hasSeen;
    }

private:
    static gboolean Look(gpointer self)
    {
        return static_cast<DialogWatch *>(self)->LookForDialog() ? G_SOURCE_CONTINUE
                                                                 : G_SOURCE_REMOVE;
    }
    static void OnResponse(GtkDialog * /*dialog*/, gint /*response*/, gpointer isAnswered)
    {
        *static_cast<bool *>(isAnswered) = true;
    }

    /// Whether to look again.
    bool LookForDialog()
    {
        GtkWidget *dialog = FindShown(m_type);
        if (!dialog)
            return true;
        TestIsAlive();
        if (!m_end)
            m_end = Clock::now() + std::chrono::milliseconds(k_keyboard_ms);
        if (!HasKeyboard(dialog) && Clock::now() < *m_end)
            return true;

        m_source = 0;
        Run(dialog);
        return false;
    }

    void Run(GtkWidget *dialog)
    {
        m_hasSeen = true;
        // The dialog itself goes when its loop, which this runs in, comes to its end.
        bool isAnswered = false;
        g_object_ref(dialog);
        const gulong handler =
            g_signal_connect(dialog, "response", G_CALLBACK(OnResponse), &isAnswered);
        m_steps(dialog);
        // GTK shows a button that a key presses for a moment before it acts.
        if (!PumpUntil([&isAnswered] { return isAnswered; }, k_end_ms))
        {
            ADD_FAILURE() << "the dialog is still open";
            gtk_dialog_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
        }
        g_signal_handler_disconnect(dialog, handler);
        g_object_unref(dialog);
    }

    const GType m_type;
    const Steps m_steps;
    std::optional<Clock::time_point> m_end; // For the keyboard, once the dialog is there.
    bool m_hasSeen = false;
    guint m_source;
};

} // namespace

MessageBoxTexts WhileMessageBox(const std::function<void()> &show, const std::string &keys)
{
    MessageBoxTexts texts;
    const DialogWatch watch(GTK_TYPE_MESSAGE_DIALOG,
                            [&](GtkWidget *box)
                            {
                                texts = TextsOf(box);
                                PressKeys(keys);
                            });
    show();
    EXPECT_TRUE(watch.HasSeen()) << "no message box came up";
    return texts;
}

void WhileFileChooser(const std::function<void()> &show, const std::function<void()> &steps)
{
    const DialogWatch watch(GTK_TYPE_FILE_CHOOSER_DIALOG, [&](GtkWidget *) { steps(); });
    show();
    EXPECT_TRUE(watch.HasSeen()) << "no file chooser came up";
}
