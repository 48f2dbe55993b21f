#pragma once

#include <OpenImageIO/imageio.h>
#include <vector>

#include "decode/PictureWish.h"

namespace decode
{

/// What is shown of an image, row by row: the display window of one part, in linear light, red,
/// green, blue and alpha of a pixel side by side. What is transparent is darkened by its alpha, as
/// over black.
///
/// Of several parts the first is taken that has colours, of several layers the first one. An image
/// of one value a pixel is a grey; one without alpha is opaque. Whole numbers are taken for sRGB
/// where the file says nothing else, and floating point for linear light. Of deep pixels the
/// samples are laid over each other.
class ShownRows
{
public:
    /// `image` is open, and outlives this. Only what `channels` needs is read; the others are 0.
    /// Throws std::runtime_error with the reason where nothing of it can be shown.
    ShownRows(OIIO::ImageInput &image, PictureChannels channels);

    int Width() const
    {
        return m_spec.full_width;
    }
    int Height() const
    {
        return m_spec.full_height;
    }

    /// How it is to be looked at: EXIF's orientation, 1 to 8; 1 where the file does not say.
    int Orientation() const;
    /// How wide a pixel is by its height, as it is to be looked at; 1 where the file does not say,
    /// or nonsense.
    double PixelAspect() const;

    /// Takes the smallest of the copies that a file has of its image (MIP levels) which has no less
    /// than this size. Before the first row; both sizes are those of the copy then.
    void TakeSmallerCopy(int leastWidth, int leastHeight);

    /// Row `y` of the display window, counting from 0: `Width()` times four values, valid until the
    /// next call, or null where the file has nothing for it. Quick in ascending order. Throws
    /// std::runtime_error where the row cannot be read.
    const float *Row(int y);

private:
    // How stored values become linear light.
    enum class Curve
    {
        Linear,
        Srgb,
        Gamma,
    };

    struct Layer
    {
        int red = -1; // Channels' indices; -1 for none.
        int green = -1;
        int blue = -1;
        int alpha = -1;
    };

    static Layer FindLayer(const OIIO::ImageSpec &spec);
    void ChoosePart();
    void ChooseCurve();
    void ChooseChannels(PictureChannels channels);
    float Straighten(float value) const;

    void ReadBlock(int begin);
    void ReadFlat(int end);
    void ReadDeep(int end);
    void FillRow(int line);

    OIIO::ImageInput &m_image;
    int m_part = 0;
    int m_level = 0;
    OIIO::ImageSpec m_spec;
    Layer m_layer;
    bool m_isUnassociated = false;
    Curve m_curve = Curve::Linear;
    float m_gamma = 1.0f;
    bool m_isTabled = false;    // Values come as 16 bits, and are looked up.
    std::vector<float> m_table; // By 16 bits.

    int m_firstChannel = 0; // That are read.
    int m_endChannel = 0;
    int m_blockBegin = 0; // Lines of the data window that are in the block.
    int m_blockEnd = 0;
    std::vector<float> m_floats; // The block; one of the two.
    std::vector<std::uint16_t> m_shorts;
    std::vector<float> m_row;
};

} // namespace decode
