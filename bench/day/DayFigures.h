#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace bench
{

/// What a Master's /metrics tell.
class DayFigures
{
public:
    /// Asks the Master that has written its port into a file; empty where it does not answer.
    static DayFigures Ask(const std::string &portFile);

    bool IsEmpty() const
    {
        return m_values.empty();
    }

    /// The value of a line by its name, labels and all; 0 where there is none.
    double At(const std::string &name) const;

    /// What has come since earlier figures of the same Master.
    double Since(const DayFigures &earlier, const std::string &name) const
    {
        return At(name) - earlier.At(name);
    }
    /// Seconds within which this share of the turns since then has ended: a bound of the histogram.
    double TurnsWithin(const DayFigures &earlier, double share) const;

private:
    std::map<std::string, double> m_values;
};

} // namespace bench
