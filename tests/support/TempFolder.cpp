#include "tests/support/TempFolder.h"

#include <boost/filesystem.hpp>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

namespace fs = boost::filesystem;

namespace
{

std::string MakeUniqueFolder()
{
    std::string name = (fs::temp_directory_path() / "ordwick-test-XXXXXX").string();
    if (!mkdtemp(name.data()))
        throw std::runtime_error("cannot make a folder such as " + name);
    return name;
}

} // namespace

TempFolder::TempFolder() : m_folder(MakeUniqueFolder()) {}

TempFolder::~TempFolder()
{
    boost::system::error_code none;
    fs::remove_all(m_folder.Text(), none);
}

ostrel::Path TempFolder::MakeFile(const ostrel::String &name, std::string_view content) const
{
    ostrel::Path file = m_folder / name;
    fs::create_directories(file.Parent().Text());
    std::ofstream stream(file.Text(), std::ios::binary);
    stream << content;
    stream.close();
    if (!stream)
        throw std::runtime_error("cannot write " + file.Text());
    return file;
}

ostrel::Path TempFolder::MakeFolder(const ostrel::String &name) const
{
    ostrel::Path folder = m_folder / name;
    fs::create_directories(folder.Text());
    return folder;
}

std::string TempFolder::Listing() const
{
    std::set<std::string> names;
    for (const fs::directory_entry &entry : fs::directory_iterator(m_folder.Text()))
        names.insert(entry.path().filename().string());

    std::string listing;
    for (const std::string &name : names)
        listing += name + '\n';
    return listing;
}

std::string ContentOf(const ostrel::Path &file)
{
    std::ifstream stream(file.Text(), std::ios::binary);
    EXPECT_TRUE(stream) << "cannot read " << file.Text();
    return {std::istreambuf_iterator<char>(stream), {}};
}
