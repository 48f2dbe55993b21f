#include "ostrel/LogFileClaim.h"

#include <boost/filesystem.hpp>

#include "ostrel/Exception.h"

namespace ostrel
{

namespace
{

Path Numbered(const Path &file, int number)
{
    if (number == 1)
        return file;
    const boost::filesystem::path whole(file.Text());
    return Path(whole.parent_path().string()) /
           (whole.stem().string() + '-' + std::to_string(number) + whole.extension().string());
}

Path LockFileOf(const Path &file)
{
    return file.Parent() / ('.' + file.Leaf(true) + ".lock");
}

} // namespace

LogFileClaim::LogFileClaim(const Path &wanted) : m_file(wanted)
{
    boost::system::error_code ignored; // Opening the file tells what is wrong with the folder.
    boost::filesystem::create_directories(wanted.Parent().Text(), ignored);
    try
    {
        for (int number = 1; number <= k_most && !m_lock; ++number)
        {
            m_file = Numbered(wanted, number);
            m_lock = FileLock::Take(LockFileOf(m_file));
        }
    }
    catch (Exception *raw)
    {
        const std::unique_ptr<Exception> noLock(raw);
    }
    if (!m_lock)
        m_file = wanted;
}

} // namespace ostrel
