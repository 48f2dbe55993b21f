#pragma once

namespace wxcorvan
{

/// A control that wears the theme's colours.
///
/// It colours itself when it is made and again each time the theme changes. Main thread.
class wxcColorManaged
{
public:
    wxcColorManaged();
    virtual ~wxcColorManaged();
    wxcColorManaged(const wxcColorManaged &) = delete;
    wxcColorManaged &operator=(const wxcColorManaged &) = delete;

    /// Sets the colours of the current theme and repaints. Called by `wxcSetTheme`, and by the
    /// control itself once it exists.
    virtual void ApplyColors() = 0;

    /// Tells every live one.
    static void ApplyToAll();
};

} // namespace wxcorvan
