#include "master/door/Packed.h"

#include <cassert>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/io/zero_copy_stream_impl_lite.h>
#include <google/protobuf/wire_format_lite.h>
#include <vector>

namespace master
{

using corvan::wire::Envelope;
using google::protobuf::internal::WireFormatLite;

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

} // namespace master
