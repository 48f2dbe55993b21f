#pragma once

#include "ostrel/Exception.h"

namespace master
{

/// The disk or the database refused: "job store /data/jobs.db: disk is full".
class StoreException : public ostrel::Exception
{
public:
    using Exception::Exception;
};

} // namespace master
