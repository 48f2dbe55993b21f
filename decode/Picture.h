#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "decode/PictureWish.h"

namespace decode
{

/// A small picture of an image, or why there is none. Texts are one line each.
struct Picture
{
    /// Why the image could not be looked at, by no fault of the file's own. Empty when it was.
    String trouble;
    /// Why it cannot be shown. Empty when it can.
    String reason;
    /// Where both are empty.
    std::string jpeg;
};

/// What a decoder says before it sends a picture's bytes, `jpeg.size()` of them, in messages of
/// `k_PicturePiece` bytes and a last one of what is left.
std::string PackPictureHead(const Picture &picture);
inline constexpr std::size_t k_PicturePiece = 48u << 10;

/// Puts together what a decoder sends of a picture. Whatever it sends, no more than
/// `k_MostPictureBytes` are kept.
class PictureReceiver
{
public:
    /// One more message. False when it does not belong there: nothing more is expected then.
    bool Add(std::string_view message);

    /// The picture, once it is whole; nothing else calls itself a JPEG than what begins and ends as
    /// one.
    bool IsWhole() const
    {
        return m_hasHead && m_picture.jpeg.size() == m_bytes;
    }
    /// Once.
    Picture Take()
    {
        return std::move(m_picture);
    }

private:
    bool AddHead(std::string_view message);

    Picture m_picture;
    bool m_hasHead = false;
    std::size_t m_bytes = 0; // That were promised.
};

} // namespace decode
