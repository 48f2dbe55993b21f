#include "corvan/JobFactory.h"

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/make_shared.hpp>
#include <cctype>
#include <filesystem>
#include <set>

#include "ostrel/Exception.h"
#include "ostrel/Folders.h"
#include "ostrel/Log.h"

namespace corvan
{

JobFactory JobFactory::s_JobFactory;

namespace
{

std::set<ostrel::Path> ListIniFiles(const ostrel::Path &folder)
{
    namespace fs = std::filesystem;
    std::set<ostrel::Path> files;
    std::error_code error;
    for (fs::directory_iterator entry(folder.Text().c_str(), error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().extension() == ".ini")
            files.insert(String(entry->path().string()));
    if (error && error != std::errc::no_such_file_or_directory)
        ostrel::LogWarning("cannot read job types of " + folder.Text() + ": " + error.message());
    return files;
}

} // namespace

int JobFactory::LoadTypes(const ostrel::Path &folder)
{
    int count = 0;
    for (const ostrel::Path &file : ListIniFiles(folder))
    {
        try
        {
            AddType(JobType::Load(file));
            ++count;
        }
        catch (ostrel::Exception *raw)
        {
            const std::unique_ptr<ostrel::Exception> error(raw);
            ostrel::LogError(error->Text());
        }
    }
    return count;
}

int JobFactory::LoadInstalledTypes()
{
    return LoadTypes(ostrel::ShareFolder() / "jobtypes") +
           LoadTypes(ostrel::DataFolder() / "Corvan" / "jobtypes");
}

void JobFactory::AddType(JobType type)
{
    const auto sameName = FindTypeByName(type.name);
    if (sameName && !(sameName->id == type.id))
        throw new ostrel::Exception("job type " + type.id.ToString() + ": the name \"" + type.name +
                                    "\" is that of " + sameName->id.ToString());
    const UID id = type.id;
    m_types[id] = boost::make_shared<const JobType>(std::move(type));
}

void JobFactory::Clear()
{
    m_types.clear();
}

std::vector<UID> JobFactory::ListTypes() const
{
    std::vector<boost::shared_ptr<const JobType>> types;
    for (const auto &[id, type] : m_types)
        types.push_back(type);
    std::ranges::stable_sort(types, {},
                             [](const auto &type) -> const String & { return type->name; });

    std::vector<UID> ids;
    ids.reserve(types.size());
    for (const auto &type : types)
        ids.push_back(type->id);
    return ids;
}

boost::shared_ptr<const JobType> JobFactory::FindType(const UID &type) const
{
    const auto found = m_types.find(type);
    return found == m_types.end() ? nullptr : found->second;
}

boost::shared_ptr<const JobType> JobFactory::FindTypeByName(const String &name) const
{
    for (const auto &[id, type] : m_types)
        if (boost::algorithm::iequals(type->name, name))
            return type;
    return nullptr;
}

boost::shared_ptr<Job> JobFactory::CreateJob(const UID &type) const
{
    const auto found = FindType(type);
    if (!found)
    {
        ostrel::LogError("cannot make a job of the unknown type " + type.ToString());
        return nullptr;
    }
    if (found->rendersFrames)
        return boost::make_shared<RenderJob>(found);
    return boost::make_shared<Job>(found);
}

} // namespace corvan
