#include "tests/support/MessageBox.h"

#include <chrono>
#include <gtk/gtk.h>

#include <gtest/gtest.h>

#include "tests/support/WindowTest.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr unsigned k_lookMs = 5;
constexpr int k_endOfBoxMs = 5000;

GtkWidget *FindBox()
{
    GList *windows = gtk_window_list_toplevels();
    GtkWidget *box = nullptr;
    for (const GList *node = windows; node && !box; node = node->next)
    {
        auto *widget = static_cast<GtkWidget *>(node->data);
        if (GTK_IS_MESSAGE_DIALOG(widget) && gtk_widget_get_mapped(widget))
            box = widget;
    }
    g_list_free(windows);
    return box;
}

bool HasKeyboard(GtkWidget *box)
{
    return gtk_window_is_active(GTK_WINDOW(box)) && gtk_window_has_toplevel_focus(GTK_WINDOW(box));
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

/// Waits for a box, reads it and presses the keys. It looks from time to time, since the box runs
/// an event loop of its own.
class BoxWatch
{
public:
    explicit BoxWatch(const std::string &keys)
        : m_keys(keys), m_source(g_timeout_add(k_lookMs, Look, this))
    {
    }
    ~BoxWatch()
    {
        if (m_source)
            g_source_remove(m_source);
    }
    BoxWatch(const BoxWatch &) = delete;
    BoxWatch &operator=(const BoxWatch &) = delete;

    bool HasSeen() const
    {
        return m_hasSeen;
    }
    const MessageBoxTexts &Texts() const
    {
        return m_texts;
    }

private:
    static gboolean Look(gpointer self)
    {
        return static_cast<BoxWatch *>(self)->LookForBox() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    }

    static void OnResponse(GtkDialog * /*box*/, gint /*response*/, gpointer isAnswered)
    {
        *static_cast<bool *>(isAnswered) = true;
    }

    /// Whether to look again.
    bool LookForBox()
    {
        GtkWidget *box = FindBox();
        if (!(box && HasKeyboard(box)) && Clock::now() < m_end)
            return true;

        m_source = 0;
        if (box)
            Answer(box);
        return false;
    }

    void Answer(GtkWidget *box)
    {
        m_hasSeen = true;
        m_texts = TextsOf(box);
        // The box itself goes when its loop, which this runs in, comes to its end.
        bool isAnswered = false;
        g_signal_connect(box, "response", G_CALLBACK(OnResponse), &isAnswered);
        PressKeys(m_keys);
        // GTK shows a button that a key presses for a moment before it acts.
        if (!PumpUntil([&isAnswered] { return isAnswered; }, k_endOfBoxMs))
        {
            ADD_FAILURE() << "the box is still open: " << m_texts.text;
            gtk_dialog_response(GTK_DIALOG(box), GTK_RESPONSE_CANCEL);
        }
        g_signal_handlers_disconnect_by_data(box, &isAnswered);
    }

    std::string m_keys;
    const Clock::time_point m_end = Clock::now() + std::chrono::seconds(20);
    MessageBoxTexts m_texts;
    bool m_hasSeen = false;
    guint m_source;
};

} // namespace

MessageBoxTexts WhileMessageBox(const std::function<void()> &show, const std::string &keys)
{
    const BoxWatch watch(keys);
    show();
    EXPECT_TRUE(watch.HasSeen()) << "no message box came up";
    return watch.Texts();
}
