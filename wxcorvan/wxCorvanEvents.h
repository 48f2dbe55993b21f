#pragma once

#include <wx/event.h>

namespace wxcorvan
{

/// Sent to every top-level `wxCorvanFrame` each time the connection to the Master has come up, and
/// each time it was lost. The program's own receivers of the messenger's signals, connected before
/// or in `Startup`, have run by then. The events have no content and do not propagate.
wxDECLARE_EVENT(wxCORVAN_CONNECT_EVENT, wxCommandEvent);
wxDECLARE_EVENT(wxCORVAN_DISCONNECT_EVENT, wxCommandEvent);

} // namespace wxcorvan

/// Event table rows; `func` takes a wxCommandEvent.
#define EVT_CORVAN_CONNECT(id, func) EVT_COMMAND(id, ::wxcorvan::wxCORVAN_CONNECT_EVENT, func)
#define EVT_CORVAN_DISCONNECT(id, func) EVT_COMMAND(id, ::wxcorvan::wxCORVAN_DISCONNECT_EVENT, func)
