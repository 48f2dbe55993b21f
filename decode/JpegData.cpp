#include "decode/JpegData.h"

#include <csetjmp>
#include <cstdio>
#include <jpeglib.h>
#include <memory>

namespace decode
{

namespace
{

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

// Unpacks the data, without making a picture of them. The jump passes over nothing that would have
// to be cleaned up.
void Unpack(std::FILE *file, Complaint &complaint)
{
    jpeg_decompress_struct image{};
    image.err = jpeg_std_error(&complaint.manager);
    complaint.manager.emit_message = OnMessage;
    complaint.manager.error_exit = OnError;
    if (setjmp(complaint.giveUp) == 0)
    {
        jpeg_create_decompress(&image);
        jpeg_stdio_src(&image, file);
        jpeg_read_header(&image, TRUE);
        jpeg_read_coefficients(&image);
        jpeg_finish_decompress(&image);
    }
    jpeg_destroy_decompress(&image);
}

struct CloseFile
{
    void operator()(std::FILE *file) const
    {
        std::fclose(file);
    }
};

} // namespace

ostrel::String FindCorruptData(const ostrel::Path &path)
{
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.Text().c_str(), "rbe"));
    if (!file)
        return {};
    Complaint complaint;
    Unpack(file.get(), complaint);
    return complaint.text;
}

} // namespace decode
