#include "master/store/OpenNote.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <string>
#include <unistd.h>

#include "ostrel/CallEntry.h"
#include "ostrel/Descriptor.h"
#include "ostrel/Log.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Descriptor;

namespace
{

const char *const k_boot_id = "/proc/sys/kernel/random/boot_id";
const char *const k_damaged = "damaged\n";

std::string ContentOfFile(const char *file)
{
    std::ifstream open(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(open), {}};
}

// Another one whenever the machine was started; empty where the system does not tell.
std::string BootText()
{
    return ContentOfFile(k_boot_id);
}

bool WriteOnDisk(const Path &file, const std::string &text)
{
    const Descriptor open(
        ::open(file.Text().c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
    if (!open.IsOpen() ||
        ::write(open.Number(), text.data(), text.size()) != ssize_t(text.size()) ||
        ::fsync(open.Number()) != 0)
        return false;
    const Descriptor folder(
        ::open(file.Parent().Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    return folder.IsOpen() && ::fsync(folder.Number()) == 0;
}

void WriteNote(const Path &file, const std::string &text)
{
    if (!WriteOnDisk(file, text))
        ostrel::LogError("cannot write " + file.Text() + ": " + std::strerror(errno) +
                         "; the next start may not know what this one knows of the job store");
}

} // namespace

OpenNote::OpenNote(const Path &store) : m_file(ostrel::String(store.Text() + ".open"))
{
    _CallEntry call("OpenNote::OpenNote", __FILE__, __LINE__);
}

bool OpenNote::IsCheckDue() const
{
    _CallEntry call("OpenNote::IsCheckDue", __FILE__, __LINE__);

    if (::access(m_file.Text().c_str(), F_OK) != 0)
        return false;
    const std::string told = ContentOfFile(m_file.Text().c_str());
    return told.empty() || told != BootText();
}

void OpenNote::WriteOpen() const
{
    _CallEntry call("OpenNote::WriteOpen", __FILE__, __LINE__);

    WriteNote(m_file, BootText());
}

void OpenNote::WriteDamaged()
{
    _CallEntry call("OpenNote::WriteDamaged", __FILE__, __LINE__);

    m_isDamaged = true;
    WriteNote(m_file, k_damaged);
}

void OpenNote::Remove() const
{
    _CallEntry call("OpenNote::Remove", __FILE__, __LINE__);

    if (!m_isDamaged)
        ::unlink(m_file.Text().c_str());
}

} // namespace master
