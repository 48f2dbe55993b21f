#include "decode/JpegPixels.h"

#include <algorithm>
#include <csetjmp>
#include <cstdio>
#include <jpeglib.h>
#include <memory>
#include <vector>

namespace decode
{

namespace
{

constexpr int k_rows_at_once = 16; // What the library unpacks at a time, at most.

// The first thing that the library has to say of the data.
struct Complaint
{
    jpeg_error_mgr manager{}; // First, so that the library's pointer is also one to this.
    std::jmp_buf giveUp{};
    char text[JMSG_LENGTH_MAX] = "";
};

Complaint &ComplaintOf(j_common_ptr image)
{
    return *reinterpret_cast<Complaint *>(image->err);
}

void Keep(j_common_ptr image)
{
    Complaint &complaint = ComplaintOf(image);
    if (complaint.text[0] == '\0')
        image->err->format_message(image, complaint.text);
}

void OnMessage(j_common_ptr image, int level)
{
    if (level < 0) // Of damage; the others tell what is going on.
        Keep(image);
}

[[noreturn]] void OnError(j_common_ptr image)
{
    Keep(image);
    std::longjmp(ComplaintOf(image).giveUp, 1);
}

struct CloseFile
{
    void operator()(std::FILE *file) const
    {
        std::fclose(file);
    }
};

// A file that the library unpacks. What fails is its complaint.
class Unpacking
{
public:
    explicit Unpacking(const ostrel::Path &path) : m_file(std::fopen(path.Text().c_str(), "rbe"))
    {
        m_image.err = jpeg_std_error(&m_complaint.manager);
        m_complaint.manager.emit_message = OnMessage;
        m_complaint.manager.error_exit = OnError;
    }
    ~Unpacking()
    {
        jpeg_destroy_decompress(&m_image);
    }
    Unpacking(const Unpacking &) = delete;
    Unpacking &operator=(const Unpacking &) = delete;

    bool ReadHeader()
    {
        return m_file && Try(
                             [this]
                             {
                                 jpeg_create_decompress(&m_image);
                                 jpeg_stdio_src(&m_image, m_file.get());
                                 jpeg_read_header(&m_image, TRUE);
                                 jpeg_calc_output_dimensions(&m_image);
                             });
    }

    // As the picture will come.
    bool Has(int width, int height, int channels) const
    {
        return m_image.output_width == JDIMENSION(width) &&
               m_image.output_height == JDIMENSION(height) && m_image.output_components == channels;
    }

    void ReadPixels(const TakePixels &take)
    {
        if (!Try([this] { jpeg_start_decompress(&m_image); }))
            return;
        const int width = int(m_image.output_width);
        const int height = int(m_image.output_height);
        const std::size_t rowBytes = std::size_t(width) * std::size_t(m_image.output_components);
        std::vector<JSAMPLE> pixels(rowBytes * k_rows_at_once);
        for (int y = 0; y < height;)
        {
            const int rows =
                ReadRows(pixels.data(), rowBytes, std::min(k_rows_at_once, height - y));
            if (rows == 0)
                return;
            take({reinterpret_cast<const char *>(pixels.data()), 0, y, width, rows, width});
            y += rows;
        }
        Finish();
    }

    // Unpacks the data, without making a picture of them.
    void ReadCodes()
    {
        if (Try([this] { jpeg_read_coefficients(&m_image); }))
            Finish();
    }

    ostrel::String Text() const
    {
        return m_complaint.text;
    }

private:
    // The library leaves a failed call by a jump, over frames that have nothing to clean up.
    template <typename Call> bool Try(Call call)
    {
        if (setjmp(m_complaint.giveUp) != 0)
            return false;
        call();
        return true;
    }

    // How many came; none when it failed.
    int ReadRows(JSAMPLE *pixels, std::size_t rowBytes, int most)
    {
        const auto begin = m_image.output_scanline;
        const bool isRead = Try(
            [&]
            {
                const JDIMENSION end = begin + JDIMENSION(most);
                while (m_image.output_scanline < end)
                {
                    JSAMPROW row = pixels + rowBytes * (m_image.output_scanline - begin);
                    jpeg_read_scanlines(&m_image, &row, 1);
                }
            });
        return isRead ? most : 0;
    }

    void Finish()
    {
        Try([this] { jpeg_finish_decompress(&m_image); });
    }

    std::unique_ptr<std::FILE, CloseFile> m_file;
    Complaint m_complaint;
    jpeg_decompress_struct m_image{};
};

} // namespace

std::optional<ostrel::String> ReadJpeg(const ostrel::Path &path, const OIIO::ImageSpec &spec,
                                       const TakePixels &take)
{
    Unpacking file(path);
    if (file.ReadHeader())
    {
        if (spec.format != OIIO::TypeUInt8 || !file.Has(spec.width, spec.height, spec.nchannels))
            return std::nullopt;
        file.ReadPixels(take);
    }
    return file.Text();
}

ostrel::String FindCorruptData(const ostrel::Path &path)
{
    Unpacking file(path);
    if (file.ReadHeader())
        file.ReadCodes();
    return file.Text();
}

} // namespace decode
