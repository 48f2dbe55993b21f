#include "master/door/Packed.h"

#include <algorithm>
#include <cassert>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>

namespace master
{

using corvan::wire::Envelope;
using google::protobuf::internal::WireFormatLite;

namespace
{

// A client that does not read may keep as much for itself alone.
constexpr std::size_t k_most_copied_bytes = 16u << 10;

} // namespace

Packed::Packed(const Envelope &envelope)
{
    constexpr auto k_tag = WireFormatLite::MakeTag(Envelope::kGatheredFieldNumber,
                                                   WireFormatLite::WIRETYPE_LENGTH_DELIMITED);
    constexpr std::size_t k_most_head_bytes = 10;
    const std::size_t size = envelope.ByteSizeLong();
    auto bytes = std::make_unique<std::string>();
    bytes->reserve(k_most_head_bytes + size);
    {
        google::protobuf::io::StringOutputStream text(bytes.get());
        google::protobuf::io::CodedOutputStream out(&text);
        out.WriteTag(k_tag);
        out.WriteVarint32(std::uint32_t(size));
        m_headBytes = std::size_t(out.ByteCount());
        envelope.SerializeWithCachedSizes(&out);
    }
    char *const data = bytes->data();
    const std::size_t length = bytes->size();
    m_part = grpc::Slice(
        data, length, [](void *whole) { delete static_cast<std::string *>(whole); },
        bytes.release());
}

grpc::ByteBuffer Packed::Gather(const PackedQueue &queue, std::size_t count)
{
    assert(count > 0 && count <= queue.size());
    const Packed &first = *queue.front();
    if (count == 1)
    {
        const grpc::Slice alone = first.m_part.sub(first.m_headBytes, first.m_part.size());
        return {&alone, 1};
    }
    std::vector<grpc::Slice> parts;
    parts.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        parts.push_back(queue[i]->m_part);
    return {parts.data(), parts.size()};
}

grpc::ByteBuffer Gathering::Take(const PackedQueue &queue, std::size_t count)
{
    assert(count > 0 && count <= queue.size());
    if (count == 1)
        return Packed::Gather(queue, count);
    if (!IsLast(queue, count))
    {
        std::size_t bytes = 0;
        for (std::size_t i = 0; i < count; ++i)
            bytes += queue[i]->Bytes();
        if (bytes > k_most_copied_bytes)
            return Packed::Gather(queue, count);

        auto whole = std::make_unique<std::string>();
        whole->reserve(bytes);
        for (std::size_t i = 0; i < count; ++i)
            whole->append(reinterpret_cast<const char *>(queue[i]->m_part.begin()),
                          queue[i]->m_part.size());
        char *const data = whole->data();
        m_whole = grpc::Slice(
            data, bytes, [](void *text) { delete static_cast<std::string *>(text); },
            whole.release());
        m_parts.assign(queue.begin(), queue.begin() + std::ptrdiff_t(count));
    }
    return {&m_whole, 1};
}

// They are held, so that no other message has the address of one of them.
bool Gathering::IsLast(const PackedQueue &queue, std::size_t count) const
{
    return m_parts.size() == count && std::equal(m_parts.begin(), m_parts.end(), queue.begin());
}

} // namespace master
