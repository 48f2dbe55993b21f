#include "check/HashList.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <pugixml.hpp>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "check/CheckException.h"
#include "corvan/CorvanApp.h"
#include "corvan/Utf8.h"
#include "ostrel/Descriptor.h"
#include "ostrel/File.h"

namespace check
{

namespace
{

constexpr std::string_view k_namespace = "urn:ASC:MHL:v2.0";
constexpr std::string_view k_version = "2.0";
constexpr std::string_view k_generations = "ascmhl";

struct KindName
{
    HashKind kind;
    std::string_view element;
    std::size_t digits;
};
/// The quickest first.
constexpr std::array<KindName, 3> k_kinds = {{{HashKind::Xxh3, "xxh3", 16},
                                              {HashKind::Xxh128, "xxh128", 32},
                                              {HashKind::Xxh64, "xxh64", 16}}};
constexpr std::array<std::string_view, 3> k_other_kinds = {"md5", "sha1", "c4"};

/// Reads one text.
class Reader
{
public:
    explicit Reader(const String &name) : m_name(name) {}

    HashList Read(std::string_view text)
    {
        NeedLittle(text);
        pugi::xml_document document;
        constexpr unsigned k_how = pugi::parse_escapes | pugi::parse_eol | pugi::parse_cdata |
                                   pugi::parse_ws_pcdata | pugi::parse_doctype;
        const pugi::xml_parse_result parsed = document.load_buffer(text.data(), text.size(), k_how);
        if (!parsed)
            Refuse(fmt::format("it is no whole XML: {} at byte {}", parsed.description(),
                               parsed.offset));
        for (const pugi::xml_node node : document)
            if (node.type() == pugi::node_doctype)
                Refuse("it has a DOCTYPE, and a hash list has none");
        const pugi::xml_node root = document.document_element();
        NeedList(root);

        HashList list;
        for (const pugi::xml_node part : root)
        {
            if (IsCalled(part, "creatorinfo"))
                for (const pugi::xml_node about : part)
                    if (IsCalled(about, "tool"))
                        list.tool = TextOf(about);
            if (IsCalled(part, "hashes"))
                for (const pugi::xml_node hash : part)
                    if (IsCalled(hash, "hash"))
                        AddFile(hash, list);
        }
        return list;
    }

private:
    [[noreturn]] void Refuse(const String &why) const
    {
        throw new CheckException("cannot take the hash list " + m_name + ": " + why);
    }

    // Each of them costs the parser some memory.
    void NeedLittle(std::string_view text) const
    {
        const auto marks = std::ranges::count_if(text, [](char c) { return c == '<' || c == '='; });
        if (text.size() > k_MostListBytes || std::size_t(marks) > k_MostListMarks)
            Refuse(fmt::format("it is too large; the most are {} MiB with {} elements and "
                               "attributes",
                               k_MostListBytes >> 20, k_MostListMarks));
    }

    static std::string_view PrefixOf(const pugi::xml_node &node)
    {
        const std::string_view name = node.name();
        const std::size_t colon = name.find(':');
        return name.substr(0, colon == std::string_view::npos ? 0 : colon);
    }

    bool IsCalled(const pugi::xml_node &node, std::string_view name) const
    {
        std::string_view full = node.name();
        if (!m_prefix.empty() && full.starts_with(m_prefix) && full.size() > m_prefix.size() &&
            full[m_prefix.size()] == ':')
            full.remove_prefix(m_prefix.size() + 1);
        return node.type() == pugi::node_element && full == name;
    }

    void NeedList(const pugi::xml_node &root)
    {
        m_prefix = PrefixOf(root);
        if (!IsCalled(root, "hashlist"))
            Refuse("it is no hash list: its element is \"" + Shown(root.name()) + "\"");
        const std::string_view version = root.attribute("version").value();
        if (version != k_version)
            Refuse("it is of version \"" + Shown(version) + "\"; 2.0 is read");
        const std::string declared = m_prefix.empty() ? "xmlns" : "xmlns:" + m_prefix;
        if (k_namespace != root.attribute(declared.c_str()).value())
            Refuse("its namespace is not " + String(std::string(k_namespace)));
    }

    static String Shown(std::string_view text)
    {
        return corvan::Excerpt(String(std::string(text)));
    }

    // All text of an element that has nothing else in it; comments are not read.
    String TextOf(const pugi::xml_node &node) const
    {
        String text;
        for (const pugi::xml_node part : node)
        {
            if (part.type() == pugi::node_element)
                Refuse("there is an element within \"" + Shown(node.name()) + "\"");
            text += part.value();
        }
        return text;
    }

    void AddFile(const pugi::xml_node &hash, HashList &list) const
    {
        String path;
        bool hasPath = false;
        SealedFile file;
        for (const pugi::xml_node part : hash)
            if (IsCalled(part, "path"))
            {
                if (hasPath)
                    Refuse("a hash has two paths, the first is \"" + Shown(path) + "\"");
                hasPath = true;
                path = PathIn(part);
                file.size = SizeIn(part, path);
                file.modified = part.attribute("lastmodificationdate").value();
            }
        if (!hasPath)
            Refuse("there is a hash without a path");
        ReadHash(hash, path, file);
        const auto [there, isNew] = list.files.try_emplace(path, file);
        if (!isNew && (there->second.digits != file.digits || there->second.kind != file.kind))
            Refuse("it has two different hashes of \"" + Shown(path) + "\"");
    }

    String PathIn(const pugi::xml_node &node) const
    {
        const String path = TextOf(node);
        if (path.empty())
            Refuse("there is an empty path");
        if (path.starts_with('/'))
            Refuse("its path \"" + Shown(path) + "\" is not relative to its folder");
        std::string plain;
        for (const auto &part : std::filesystem::path(path.c_str()))
        {
            if (part == "..")
                Refuse("its path \"" + Shown(path) + "\" leads out of its folder");
            if (part != "." && !part.empty())
                plain += (plain.empty() ? "" : "/") + part.string();
        }
        return plain;
    }

    std::optional<std::uint64_t> SizeIn(const pugi::xml_node &node, const String &path) const
    {
        const std::string_view text = node.attribute("size").value();
        if (text.empty())
            return std::nullopt;
        std::uint64_t size = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), size);
        if (error != std::errc() || end != text.data() + text.size())
            Refuse("the size of \"" + Shown(path) + "\" is \"" + Shown(text) + "\"");
        return size;
    }

    void ReadHash(const pugi::xml_node &hash, const String &path, SealedFile &file) const
    {
        for (const KindName &kind : k_kinds)
            for (const pugi::xml_node part : hash)
                if (IsCalled(part, kind.element) && file.digits.empty())
                {
                    if (part.attribute("action").value() == std::string_view("failed"))
                        continue;
                    file.kind = kind.kind;
                    file.digits = Digits(TextOf(part), kind, path);
                    file.hashed = part.attribute("hashdate").value();
                }
        if (file.digits.empty())
            file.trouble = WhyNone(hash);
    }

    String WhyNone(const pugi::xml_node &hash) const
    {
        for (const pugi::xml_node part : hash)
        {
            for (const KindName &kind : k_kinds)
                if (IsCalled(part, kind.element))
                    return "its hash list says that it had changed already";
            for (const std::string_view kind : k_other_kinds)
                if (IsCalled(part, kind))
                    return "its hash list has its " + String(std::string(kind)) +
                           " alone, which is not made here";
        }
        return "its hash list has no hash of it";
    }

    String Digits(String text, const KindName &kind, const String &path) const
    {
        std::ranges::transform(text, text.begin(),
                               [](char c) { return c >= 'A' && c <= 'F' ? char(c + 32) : c; });
        if (text.size() != kind.digits ||
            text.find_first_not_of("0123456789abcdef") != String::npos)
            Refuse(
                fmt::format("the {} of \"{}\" is \"{}\"", kind.element, Shown(path), Shown(text)));
        return text;
    }

    const String m_name;
    std::string m_prefix;
};

void AppendEscaped(std::string &out, std::string_view text)
{
    for (const char c : text)
    {
        if (c == '&')
            out += "&amp;";
        else if (c == '<')
            out += "&lt;";
        else if (c == '>')
            out += "&gt;";
        else if (c == '"')
            out += "&quot;";
        else
            out += c;
    }
}

void AppendAttribute(std::string &out, std::string_view name, std::string_view value)
{
    if (value.empty())
        return;
    out.append(" ").append(name).append("=\"");
    AppendEscaped(out, value);
    out += '"';
}

void AppendFile(std::string &out, const String &path, const SealedFile &file)
{
    out += "    <hash>\n      <path";
    if (file.size)
        AppendAttribute(out, "size", std::to_string(*file.size));
    AppendAttribute(out, "lastmodificationdate", file.modified);
    out += '>';
    AppendEscaped(out, path);
    const std::string element(std::ranges::find(k_kinds, file.kind, &KindName::kind)->element);
    out += "</path>\n      <" + element + " action=\"original\"";
    AppendAttribute(out, "hashdate", file.hashed);
    out += ">" + file.digits + "</" + element + ">\n    </hash>\n";
}

std::string HostName()
{
    std::array<char, 256> name{};
    if (::gethostname(name.data(), name.size() - 1) != 0)
        return "localhost";
    return corvan::MakeUtf8(String(std::string(name.data())));
}

bool IsThere(const Path &file)
{
    struct stat found = {};
    return ::lstat(file.Text().c_str(), &found) == 0;
}

} // namespace

Path FolderOf(const Path &list)
{
    std::error_code error;
    std::filesystem::path folder =
        std::filesystem::absolute(list.Text().c_str(), error).lexically_normal().parent_path();
    if (folder.filename() == k_generations)
        folder = folder.parent_path();
    const std::filesystem::path plain = std::filesystem::weakly_canonical(folder, error);
    return Path(String((error ? folder : plain).string()));
}

HashList ParseHashList(std::string_view text, const String &name)
{
    return Reader(name).Read(text);
}

HashList ReadHashList(const Path &file)
{
    String text;
    try
    {
        text = ostrel::File::ReadWhole(file, k_MostListBytes);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new CheckException("there is no hash list: " + error->Text());
    }
    return ParseHashList(text, file.Text());
}

HashList ReadOwnHashList(const Path &file)
{
    HashList list;
    list.tool = k_ListTool;
    if (IsThere(file))
        list = ReadHashList(file);
    if (list.tool != k_ListTool)
        throw new CheckException("the hash list " + file.Text() + " was written by '" +
                                 corvan::Excerpt(list.tool) +
                                 "' and may say more than would be kept; name another file");
    return list;
}

String HashListText(const HashList &list)
{
    std::string now;
    ostrel::Time::Now().AppendIso(now);
    std::string out =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<hashlist version=\"2.0\" xmlns=\"";
    out.append(k_namespace).append("\">\n  <creatorinfo>\n    <creationdate>").append(now);
    out += "</creationdate>\n    <hostname>";
    AppendEscaped(out, HostName());
    out += "</hostname>\n    <tool";
    AppendAttribute(out, "version", corvan::CorvanApp::Version());
    out.append(">").append(list.tool);
    out += "</tool>\n  </creatorinfo>\n  <processinfo>\n    <process>in-place</process>\n"
           "  </processinfo>\n";
    // The schema wants one hash at least where there is an element for them.
    const auto hasHash = [](const auto &file) { return !file.second.digits.empty(); };
    if (std::ranges::any_of(list.files, hasHash))
    {
        out += "  <hashes>\n";
        for (const auto &[path, file] : list.files)
            if (!file.digits.empty())
                AppendFile(out, path, file);
        out += "  </hashes>\n";
    }
    return out + "</hashlist>\n";
}

bool CanBeListed(std::string_view path)
{
    const auto isControl = [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; };
    // The last two of the plane are no characters.
    return std::ranges::none_of(path, isControl) && path.find("\xEF\xBF\xBE") == path.npos &&
           path.find("\xEF\xBF\xBF") == path.npos &&
           corvan::MakeUtf8(String(std::string(path))) == String(std::string(path));
}

void AddToHashList(const Path &file, const std::map<String, SealedFile> &files)
{
    if (files.empty())
        return;
    // Where the folder cannot be locked, as on some shares, nobody else is waited for.
    const ostrel::Descriptor folder(
        ::open(file.Parent().Text().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.IsOpen())
        ::flock(folder.Number(), LOCK_EX);
    HashList list = ReadOwnHashList(file);
    for (const auto &[path, sealed] : files)
        list.files[path] = sealed;
    const String text = HashListText(list);
    if (text.size() > k_MostListBytes)
        throw new CheckException("the hash list " + file.Text() + " would be too large");
    try
    {
        ostrel::File::WriteWhole(file, text);
    }
    catch (ostrel::Exception *raw)
    {
        const std::unique_ptr<ostrel::Exception> error(raw);
        throw new CheckException("cannot write the hash list " + file.Text() + ": " +
                                 error->Text());
    }
}

} // namespace check
