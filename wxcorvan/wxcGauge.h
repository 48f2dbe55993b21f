#pragma once

#include <wx/gauge.h>

namespace wxcorvan
{

/// A progress gauge that may be set as often as there is something to count.
///
/// The toolkit plans a repaint each time its gauge is set, and the plans of one frame slow the
/// event loop down more the more there are: tens of microseconds a call when it is set thousands of
/// times a frame. This one hands a value on only where the bar moves by a pixel.
class wxcGauge : public wxGauge
{
public:
    using wxGauge::wxGauge;

    void SetRange(int range) override;
    void SetValue(int value) override;

    /// The value that was set last, to the unit.
    int GetValue() const override
    {
        return m_value;
    }

private:
    bool IsSeen(int value) const;

    int m_value = 0;
};

} // namespace wxcorvan
