#include "web/pictures/RecentPictures.h"

namespace web
{

namespace
{

// The subject is there twice, and what holds all that takes room, too.
std::size_t BytesOf(const RecentPictures::Entry &entry)
{
    constexpr std::size_t k_around = 512;
    return k_around + 2 * entry.subject.size() + entry.what.reason.size() +
           (entry.what.bytes ? entry.what.bytes->size() : 0);
}

} // namespace

RecentPictures::Entry *RecentPictures::Find(const std::string &subject)
{
    const auto found = m_bySubject.find(subject);
    if (found == m_bySubject.end())
        return nullptr;
    m_entries.splice(m_entries.begin(), m_entries, found->second);
    return &*found->second;
}

void RecentPictures::Put(Entry entry)
{
    if (const auto old = m_bySubject.find(entry.subject); old != m_bySubject.end())
        Remove(old->second);
    m_bytes += BytesOf(entry);
    m_entries.push_front(std::move(entry));
    m_bySubject.emplace(m_entries.front().subject, m_entries.begin());
    while (m_bytes > m_most && !m_entries.empty())
        Remove(std::prev(m_entries.end()));
}

void RecentPictures::Remove(Place place)
{
    m_bytes -= BytesOf(*place);
    m_bySubject.erase(place->subject);
    m_entries.erase(place);
}

} // namespace web
