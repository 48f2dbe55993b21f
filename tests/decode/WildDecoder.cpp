// A decoder that does what the name of the file says, and reads no file.
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <sys/socket.h>
#include <system_error>
#include <unistd.h>
#include <vector>

#include "decode/ServeDecoder.h"

namespace
{

// Sanitizers turn the signal into an exit.
void Crash()
{
    std::signal(SIGSEGV, SIG_DFL);
    std::raise(SIGSEGV);
}

[[noreturn]] void Hang()
{
    for (;;)
        pause();
}

// No more than a gigabyte, should nothing hold it back.
void EatMemory()
{
    std::vector<std::vector<char>> eaten;
    while (eaten.size() < 1024)
        eaten.emplace_back(1u << 20);
    Hang(); // Nobody has limited it, so its time has to.
}

// Goes on once another decoder has opened the other end.
void Meet(const ostrel::Path &path, int mode)
{
    close(open((path.Parent() / "pipe").Text().c_str(), mode));
}

void SendInstead(const std::string &message)
{
    send(STDIN_FILENO, message.data(), message.size(), 0);
}

void BehaveWildly(const ostrel::Path &path, const ostrel::String &what)
{
    if (what == "crash")
        Crash();
    if (what == "abort")
        std::raise(SIGABRT);
    if (what == "kill")
        std::raise(SIGKILL);
    if (what == "refuse")
        throw std::system_error(EAGAIN, std::generic_category(), "no thread");
    if (what == "hang")
        Hang();
    if (what == "eat")
        EatMemory();
    if (what == "leave")
        _exit(3);
    if (what == "give")
        Meet(path, O_WRONLY);
    if (what == "take")
        Meet(path, O_RDONLY);
    if (what == "throw")
        throw std::runtime_error("thrown\nand caught");
    if (what == "nonsense")
        SendInstead("no report");
    if (what == "huge")
        SendInstead(std::string(100'000, 'x'));
}

decode::ImageReport ReportWildly(const ostrel::Path &path, decode::ReportDepth)
{
    const ostrel::String what = path.Leaf(false);
    BehaveWildly(path, what);
    decode::ImageReport report;
    report.format = what;
    report.width = getpid();
    return report;
}

// Of at least as many bytes as the number that the name begins with.
decode::Picture PictureWildly(const ostrel::Path &path, const decode::PictureWish &wish)
{
    const ostrel::String what = path.Leaf(false);
    BehaveWildly(path, what);
    decode::Picture picture;
    if (what == "refused")
    {
        picture.reason = "nothing\nto see";
        return picture;
    }
    std::string text = std::to_string(getpid()) + " " + path.Text() + " " +
                       std::to_string(wish.width) + " " + wish.minus.Text();
    text.resize(std::max<std::size_t>(text.size(), std::strtoul(what.c_str(), nullptr, 10)));
    picture.jpeg = what == "unlike" ? "<script>" : "\xff\xd8\xff" + text + "\xff\xd9";
    return picture;
}

decode::Picture StripWildly(const ostrel::Path &path, const decode::StripWish &wish)
{
    for (const ostrel::Path &neighbour : {wish.before, wish.after})
        BehaveWildly(neighbour, neighbour.Leaf(false));
    const ostrel::Path beside = wish.before.Text() + " " + wish.after.Text();
    return PictureWildly(path, {wish.side, 0.0f, decode::PictureChannels::Rgb, beside});
}

} // namespace

int main(int count, char **arguments)
{
    return decode::ServeDecoder(count, arguments, {ReportWildly, PictureWildly, StripWildly});
}
