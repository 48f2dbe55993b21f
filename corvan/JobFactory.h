#pragma once

#include <boost/shared_ptr.hpp>
#include <map>
#include <vector>

#include "corvan/Job.h"
#include "corvan/JobType.h"

namespace corvan
{

/// Knows the job types and makes jobs of them.
///
/// Filled at start-up, before messages come in; from then on any thread may ask it.
class JobFactory
{
public:
    /// The program's one factory; empty until the client application has started.
    static JobFactory s_JobFactory;

    /// Reads every NAME.ini of a folder, over types of the same identifier. A file that is wrong
    /// is passed over with an error line. Returns how many were read.
    int LoadTypes(const ostrel::Path &folder);

    /// The types that ship with the programs, then the user's own in "Corvan/jobtypes" of the data
    /// folder: what the Master and its clients all start with.
    int LoadInstalledTypes();

    /// Throws `ostrel::Exception *` where another type has that name.
    void AddType(JobType type);
    void Clear();

    /// Identifiers of all types, ordered by name.
    std::vector<UID> ListTypes() const;

    /// The type of an identifier, or of a name in any case; null when there is none.
    boost::shared_ptr<const JobType> FindType(const UID &type) const;
    boost::shared_ptr<const JobType> FindTypeByName(const String &name) const;

    /// A new job of a type, with a nil identifier and no parameter set; null for an unknown type,
    /// after an error line.
    boost::shared_ptr<Job> CreateJob(const UID &type) const;

private:
    std::map<UID, boost::shared_ptr<const JobType>> m_types;
};

} // namespace corvan
