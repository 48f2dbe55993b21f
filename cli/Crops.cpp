#include "cli/Crops.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <memory>
#include <unistd.h>

#include "cli/ProgressBar.h"
#include "cli/ShownText.h"
#include "decode/StripsOfCrew.h"
#include "ostrel/Exception.h"
#include "ostrel/File.h"

namespace cli
{

using check::Crop;

namespace
{

constexpr const char *k_way_out = "make room or name another folder by --crops";

void MakeFolder(const std::string &folder)
{
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (!error && !std::filesystem::is_directory(folder, error))
        error = std::make_error_code(std::errc::not_a_directory);
    if (error)
        throw new ostrel::Exception(
            fmt::format("cannot make the folder {} for crops: {}; name another one by --crops",
                        folder, error.message()));
}

// Nothing is lost where there is none, or one of our own.
bool MayReplace(const ostrel::Path &path)
{
    std::error_code none;
    if (!std::filesystem::exists(std::filesystem::symlink_status(path.Text().c_str(), none)))
        return true;
    std::ifstream file(path.Text().c_str(), std::ios::binary);
    std::string head(decode::k_StripMarkEnd, '\0');
    file.read(head.data(), std::streamsize(head.size()));
    return head.find(decode::k_StripMark) != std::string::npos;
}

void WriteCrop(const ostrel::Path &path, const std::string &jpeg)
{
    if (!MayReplace(path))
        throw new ostrel::Exception("cannot write the crop " + path.Text() +
                                    ": there is a file of this name that is no crop; move it "
                                    "away, or name another folder by --crops");
    try
    {
        ostrel::File::WriteWhole(path, jpeg);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new ostrel::Exception(error->Text() + "; " + k_way_out);
    }
}

} // namespace

void Crops::Declare(CLI::App &verb)
{
    verb.add_option(
            "--crops", m_folder,
            "a folder, made where it is missing; writes a small picture of each frame whose "
            "state --pictures alone tells: that place in the frame before, in the frame and "
            "in the one after")
        ->type_name("DIR")
        ->check([](const std::string &folder)
                { return folder.empty() ? "it names no folder" : std::string(); })
        ->needs(verb.get_option("--pictures"));
}

std::vector<Crop> Crops::FindNews(std::span<const check::CheckTable> tables)
{
    const std::vector<String> stems = check::CropStems(tables);
    std::vector<Crop> news;
    std::map<String, Crop> still;
    for (std::size_t table = 0; table < tables.size(); ++table)
        for (Crop &crop : check::ListCrops(tables[table], stems[table]))
        {
            const auto done = m_done.find(crop.name);
            if (done != m_done.end() && done->second == crop)
                still.insert(*done);
            else
                news.push_back(std::move(crop));
        }
    m_done = std::move(still);
    std::erase_if(m_failed, [this](const String &name) { return !m_done.contains(name); });
    return news;
}

std::size_t Crops::Write(std::span<const check::CheckTable> tables,
                         const decode::DecodeLimits &limits)
{
    MakeFolder(m_folder);
    const std::vector<Crop> news = FindNews(tables);
    std::vector<decode::DecodeRequest> requests;
    for (const Crop &crop : news)
        requests.push_back(crop.request);

    std::map<String, String> failed; // By name: a text of the frame and why.
    std::map<String, String> lessThanWhole;
    const auto keep = [&](const Crop &crop, const decode::MadeStrip &strip)
    {
        const decode::Picture &picture = strip.picture;
        const String why = picture.trouble.empty() ? picture.reason : picture.trouble;
        for (const ostrel::Path &neighbour : strip.without)
            lessThanWhole.try_emplace(crop.name, crop.name + " without " + neighbour.Text() + ": " +
                                                     strip.why);
        if (why.empty())
            WriteCrop(ostrel::Path(m_folder) / crop.name, picture.jpeg);
        else
        {
            failed[crop.name] = crop.request.path.Text() + ": " + why;
            m_failed.insert(crop.name);
        }
        m_done.insert_or_assign(crop.name, crop);
    };
    ProgressBar bar(stderr, true);
    const bool isShown = isatty(STDERR_FILENO) == 1;
    std::size_t done = 0;
    decode::DecodeCrew crew(decode::DecoderProgram(), limits);
    decode::MakeStrips(crew, requests,
                       [&](std::size_t index, const decode::MadeStrip &strip)
                       {
                           keep(news[index], strip);
                           if (isShown)
                               bar.Show({unsigned(requests.size()), unsigned(++done), 0});
                       });
    bar.Clear();
    if (!lessThanWhole.empty())
        fmt::print(stderr, "corvan: {} made without a neighbour that cannot be shown, {}{}\n",
                   lessThanWhole.size() == 1 ? "1 crop is"
                                             : fmt::format("{} crops are", lessThanWhole.size()),
                   lessThanWhole.size() == 1 ? "" : "the first ",
                   ShownText(lessThanWhole.begin()->second));
    if (!failed.empty())
        fmt::print(stderr, "corvan: there is no crop of {} {}, {}{}\n", failed.size(),
                   failed.size() == 1 ? "frame" : "frames", failed.size() == 1 ? "" : "the first ",
                   ShownText(failed.begin()->second));
    return news.size() - failed.size();
}

} // namespace cli
