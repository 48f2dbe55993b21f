#include "tests/support/DiskFile.h"

#include <cstring>

namespace
{

void Put(std::string_view data, std::size_t offset, std::string &content)
{
    if (content.size() < offset + data.size())
        content.resize(offset + data.size());
    std::memcpy(content.data() + offset, data.data(), data.size());
}

} // namespace

void DiskFile::Fill(std::string content)
{
    m_unsynced.clear();
    m_seen = content;
    m_kept = std::move(content);
}

void DiskFile::Write(std::size_t offset, std::string_view data)
{
    m_unsynced.push_back({offset, std::string(data)});
    Carry(m_unsynced.back(), m_seen);
}

void DiskFile::Truncate(std::size_t size)
{
    m_unsynced.push_back({.offset = size, .isTruncation = true});
    Carry(m_unsynced.back(), m_seen);
}

void DiskFile::Sync()
{
    for (const Change &change : m_unsynced)
        Carry(change, m_kept);
    m_unsynced.clear();
}

void DiskFile::SyncInVain(Random &random)
{
    for (const Change &change : m_unsynced)
        CarrySome(change, m_kept, random);
    m_unsynced.clear();
}

void DiskFile::CutPower(Loss loss, Random &random)
{
    if (loss == Loss::Some)
        SyncInVain(random);
    m_unsynced.clear();
    m_seen = m_kept;
}

void DiskFile::Carry(const Change &change, std::string &content)
{
    if (change.isTruncation)
        content.resize(change.offset);
    else
        Put(change.data, change.offset, content);
}

void DiskFile::CarrySome(const Change &change, std::string &content, Random &random)
{
    switch (random() % 3)
    {
    case 0:
        return;
    case 1:
        return Carry(change, content);
    default:
        break;
    }
    if (change.isTruncation)
        return;
    for (std::size_t at = 0; at < change.data.size(); at += k_SectorBytes)
        if (random() % 2 == 0)
            Put(std::string_view(change.data).substr(at, k_SectorBytes), change.offset + at,
                content);
}
