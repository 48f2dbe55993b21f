#pragma once

#include <wx/gauge.h>

namespace wxcorvan
{

/// A progress gauge that may be set as often as there is something to count.
///
/// The toolkit lays out and repaints its gauge anew whenever it is set. This one hands a value on
/// only where the bar moves by a pixel.
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
