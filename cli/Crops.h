#pragma once

#include <map>
#include <set>
#include <span>
#include <string>

#include "check/Crops.h"
#include "decode/DecodeFiles.h"

namespace CLI
{
class App;
}

namespace cli
{

using ostrel::String;

/// The folder of crops that a check writes, and the writing of them.
class Crops
{
public:
    /// After `--pictures`, which it needs.
    void Declare(CLI::App &verb);

    bool AreWanted() const
    {
        return !m_folder.empty();
    }
    const std::string &Folder() const
    {
        return m_folder;
    }

    /// Writes the crops of judged tables but those that were written before and still show what is
    /// to be shown; with a bar on a terminal. Gives how many were written. Frames of which there
    /// can be no crop, and neighbours that a crop has to do without, are told on standard error.
    ///
    /// Makes the folder and its parents where they are missing. A file of a crop's name is replaced
    /// where it is a crop, too. Throws `ostrel::Exception *` where it is not, where the folder
    /// cannot be made or a file not be written, and where no decoder can be started; what was not
    /// written is tried again then, the next time.
    std::size_t Write(std::span<const check::CheckTable> tables,
                      const decode::DecodeLimits &limits);

    /// Whether there is a crop of all frames that should have one.
    bool AreWhole() const
    {
        return m_failed.empty();
    }

private:
    std::vector<check::Crop> FindNews(std::span<const check::CheckTable> tables);

    std::string m_folder;
    std::map<String, check::Crop> m_done; ///< By name: written, or there can be none.
    std::set<String> m_failed;            ///< The latter.
};

} // namespace cli
