#include "wxcorvan/wxCorvanEvents.h"

namespace wxcorvan
{

wxDEFINE_EVENT(wxCORVAN_CONNECT_EVENT, wxCommandEvent);
wxDEFINE_EVENT(wxCORVAN_DISCONNECT_EVENT, wxCommandEvent);

} // namespace wxcorvan
