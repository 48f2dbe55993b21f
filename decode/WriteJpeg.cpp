#include "decode/WriteJpeg.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <jpeglib.h>
#include <memory>
#include <new>
#include <stdexcept>

namespace decode
{

namespace
{

constexpr int k_quality = 90;

struct Refusal
{
    jpeg_error_mgr manager{}; // First, so that the library's pointer is also one to this.
    std::jmp_buf giveUp{};
    char text[JMSG_LENGTH_MAX] = "";
    bool isForMemory = false;
};

[[noreturn]] void OnRefusal(j_common_ptr image)
{
    Refusal &refusal = *reinterpret_cast<Refusal *>(image->err);
    image->err->format_message(image, refusal.text);
    refusal.isForMemory = std::string_view(refusal.text).starts_with("Insufficient memory");
    std::longjmp(refusal.giveUp, 1);
}

struct Freed
{
    unsigned char *bytes = nullptr;
    unsigned long size = 0;

    ~Freed()
    {
        std::free(bytes);
    }
};

// The jump passes over nothing that would have to be cleaned up.
bool Write(const std::vector<std::uint8_t> &pixels, int width, int height, std::string_view comment,
           Freed &packed, Refusal &refusal)
{
    jpeg_compress_struct image{};
    image.err = jpeg_std_error(&refusal.manager);
    refusal.manager.error_exit = OnRefusal;
    if (setjmp(refusal.giveUp) != 0)
    {
        jpeg_destroy_compress(&image);
        return false;
    }
    jpeg_create_compress(&image);
    jpeg_mem_dest(&image, &packed.bytes, &packed.size);
    image.image_width = JDIMENSION(width);
    image.image_height = JDIMENSION(height);
    image.input_components = 3;
    image.in_color_space = JCS_RGB;
    jpeg_set_defaults(&image);
    jpeg_set_quality(&image, k_quality, TRUE);
    image.comp_info[0].h_samp_factor = image.comp_info[0].v_samp_factor = 1;
    jpeg_start_compress(&image, TRUE);
    if (!comment.empty())
        jpeg_write_marker(&image, JPEG_COM, reinterpret_cast<const JOCTET *>(comment.data()),
                          unsigned(comment.size()));
    while (image.next_scanline < image.image_height)
    {
        // The library takes rows that it could write to, and does not.
        auto *row = const_cast<JSAMPLE *>(pixels.data() + std::size_t(image.next_scanline) *
                                                              std::size_t(width) * 3);
        jpeg_write_scanlines(&image, &row, 1);
    }
    jpeg_finish_compress(&image);
    jpeg_destroy_compress(&image);
    return true;
}

} // namespace

std::string WriteJpeg(const std::vector<std::uint8_t> &pixels, int width, int height,
                      std::string_view comment)
{
    Freed packed;
    Refusal refusal;
    if (!Write(pixels, width, height, comment, packed, refusal))
    {
        if (refusal.isForMemory)
            throw std::bad_alloc();
        throw std::runtime_error(refusal.text);
    }
    return {reinterpret_cast<const char *>(packed.bytes), packed.size};
}

} // namespace decode
