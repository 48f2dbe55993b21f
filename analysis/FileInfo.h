#pragma once

#include <boost/multi_index/member.hpp>
#include <boost/multi_index/ordered_index.hpp>
#include <boost/multi_index/random_access_index.hpp>
#include <boost/multi_index/tag.hpp>
#include <boost/multi_index_container.hpp>
#include <cstdint>

#include "ostrel/Path.h"
#include "ostrel/Time.h"

namespace analysis
{

using ostrel::Path;
using ostrel::String;
using ostrel::Time;

/// One frame file that a job is expected to have written.
///
/// A plain record, copied by value. `size` and `modified` mean something only while `exists` is
/// true; they are zero otherwise.
struct _FileInfo
{
    _FileInfo(const Path &path, int outputNumber) : name(path), frame(outputNumber) {}

    Path name;              ///< Full local path; no two records of a table have the same.
    std::uint64_t size = 0; ///< Bytes at the last look.
    Time modified;          ///< At the last look.
    int frame;              ///< The output number that stands in `name`.
    bool exists = false;    ///< Found at the last look.
};

/// Tags of the two views of a file table. They live in a struct of their own so that the word
/// `list` stays free.
struct FileViews
{
    struct list
    {
    };
    struct path
    {
    };
};

using _FileInfoContainer = boost::multi_index_container<
    _FileInfo,
    boost::multi_index::indexed_by<
        boost::multi_index::random_access<boost::multi_index::tag<FileViews::list>>,
        boost::multi_index::ordered_unique<
            boost::multi_index::tag<FileViews::path>,
            boost::multi_index::member<_FileInfo, Path, &_FileInfo::name>, std::less<Path>>>>;

/// The expected files of one pattern, seen in two ways.
///
/// View `list` is the display order: position r is row r, new records come last, and it can be
/// sorted. View `path` finds a record by its path. About 200 bytes a record with its path. Not
/// thread-safe.
class _FileInfoList : public _FileInfoContainer
{
public:
    using list = FileViews::list;
    using path = FileViews::path;

    /// The row of a path, or -1 when the table does not hold it. Logarithmic.
    int PathToIndex(const Path &name) const;

    /// Adds a record as the last row. False, and nothing changed, when its path is there already.
    /// Constant time where paths come in ascending order, else logarithmic.
    bool Append(const Path &name, int frame);
};

} // namespace analysis
