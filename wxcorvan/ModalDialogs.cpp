#include "wxcorvan/ModalDialogs.h"

#include <gtk/gtk.h>

#include <wx/dialog.h>

namespace wxcorvan
{

namespace
{

bool CancelOwnDialog()
{
    for (auto node = wxTopLevelWindows.GetLast(); node; node = node->GetPrevious())
    {
        auto *dialog = dynamic_cast<wxDialog *>(node->GetData());
        if (!dialog || !dialog->IsModal() || GTK_IS_DIALOG(dialog->GetHandle()))
            continue;
        dialog->EndModal(0);
        return true;
    }
    return false;
}

bool CancelDesktopDialog()
{
    bool wasOpen = false;
    GList *const windows = gtk_window_list_toplevels();
    for (const GList *node = windows; node; node = node->next)
    {
        auto *window = static_cast<GtkWindow *>(node->data);
        if (!GTK_IS_DIALOG(window) || !gtk_window_get_modal(window) ||
            !gtk_widget_get_visible(GTK_WIDGET(window)))
            continue;
        gtk_dialog_response(GTK_DIALOG(window), GTK_RESPONSE_CANCEL);
        wasOpen = true;
    }
    g_list_free(windows);
    return wasOpen;
}

} // namespace

bool CancelModalDialog()
{
    return CancelDesktopDialog() || CancelOwnDialog();
}

} // namespace wxcorvan
