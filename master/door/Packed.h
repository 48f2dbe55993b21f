#pragma once

#include <deque>
#include <grpcpp/support/byte_buffer.h>
#include <memory>
#include <vector>

#include "corvan/messages.pb.h"

namespace master
{

class Packed;

/// Messages that wait for a client, in order. Each is shared with all others who are sent it.
using PackedQueue = std::deque<std::shared_ptr<const Packed>>;

/// A message as it goes over the wire, made once for all who are sent it. Any thread.
class Packed
{
public:
    explicit Packed(const corvan::wire::Envelope &envelope);

    /// Of memory, and of a message that holds it with others.
    std::size_t Bytes() const
    {
        return m_part.size();
    }

    /// One message that holds the first `count` of a queue, one or more: by itself where it is one.
    /// Nothing is copied; the memory is shared with the messages, and lives as long as any of both.
    static grpc::ByteBuffer Gather(const PackedQueue &queue, std::size_t count);

private:
    friend class Gathering;

    std::size_t m_headBytes = 0;
    grpc::Slice m_part; // As a field of a message that holds others: its head, then its own bytes.
};

/// Makes messages of others, one after the other: where the next client is to have the same as the
/// one before, it is the same piece of memory, and not one for each message in it. A thousand
/// followers of a job wait for the same. One thread.
class Gathering
{
public:
    /// As `Packed::Gather`, but what is short is copied together.
    grpc::ByteBuffer Take(const PackedQueue &queue, std::size_t count);

private:
    bool IsLast(const PackedQueue &queue, std::size_t count) const;

    std::vector<std::shared_ptr<const Packed>> m_parts; // Of the last one.
    grpc::Slice m_whole;
};

} // namespace master
