#include "decode/Picture.h"

#include <algorithm>

#include "decode/ImageReport.h"
#include "decode/MessageFields.h"

namespace decode
{

namespace
{

constexpr std::string_view k_head = "picture";

bool LooksLikeJpeg(std::string_view bytes)
{
    return bytes.starts_with("\xff\xd8\xff") && bytes.ends_with("\xff\xd9");
}

} // namespace

std::string PackPictureHead(const Picture &picture)
{
    return JoinFields({k_head, OneLine(picture.trouble), OneLine(picture.reason),
                       std::to_string(picture.jpeg.size())});
}

bool PictureReceiver::AddHead(std::string_view message)
{
    const std::vector<std::string_view> fields = SplitFields(message);
    if (fields.size() != 4 || fields[0] != k_head || !TakeNumber(fields[3], m_bytes))
        return false;
    m_picture.trouble = OneLine(fields[1]);
    m_picture.reason = OneLine(fields[2]);
    const bool isFailed = !m_picture.trouble.empty() || !m_picture.reason.empty();
    m_hasHead = true;
    return isFailed ? m_bytes == 0 : m_bytes > 0 && m_bytes <= k_MostPictureBytes;
}

bool PictureReceiver::Add(std::string_view message)
{
    if (!m_hasHead)
        return AddHead(message);
    if (message.size() != std::min(m_bytes - m_picture.jpeg.size(), k_PicturePiece))
        return false;
    m_picture.jpeg += message;
    return !IsWhole() || LooksLikeJpeg(m_picture.jpeg);
}

} // namespace decode
