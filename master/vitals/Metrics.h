#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>

#include "master/store/StoreCounts.h"

namespace master
{

/// What is counted of the Master's work, as Prometheus reads it. The loop notes, which costs it a
/// few atomic operations; any thread asks for the text.
class Metrics
{
public:
    Metrics();
    ~Metrics();

    /// A turn of the loop has ended.
    void NoteTurn(std::chrono::nanoseconds took);
    /// Requests of clients were refused.
    void NoteRefusals(std::size_t count);

    /// What stands now; the first two only grow.
    void SetCommits(std::uint64_t done, std::uint64_t failed);
    void SetClients(std::size_t count);

    /// What is known of other threads alone.
    struct Now
    {
        bool isHealthy = true;
        std::chrono::nanoseconds sinceTurn{0};
        std::chrono::nanoseconds queueAge{0};
        StoreCounts::Counts jobs;
        StoreCounts::Counts tasks;
    };

    /// All of it, in Prometheus' text format.
    std::string Text(const Now &now) const;

private:
    struct Parts;

    std::unique_ptr<Parts> m_parts;
};

} // namespace master
