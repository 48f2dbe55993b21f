#include "master/door/MasterLock.h"

#include "ostrel/CallEntry.h"
#include "ostrel/Exception.h"

namespace master
{

using ostrel::_CallEntry;
using ostrel::Exception;

MasterLock::MasterLock(const Path &lockFile, const String &claimed)
    : m_lock(ostrel::FileLock::Take(lockFile))
{
    _CallEntry call("MasterLock::MasterLock", __FILE__, __LINE__);

    if (!m_lock)
        throw new Exception("another Master uses " + claimed);
}

} // namespace master
