#pragma once

#include "ostrel/CommandLine.h"

namespace master
{

/// `corvan-master init-tls DIR HOST...`: makes, or renews, what TLS needs, and prints what belongs
/// where. Throws `UsageException *` for what it does not understand and `ostrel::Exception *` where
/// the files cannot be made.
void RunInitTlsCommand(const ostrel::CommandLine &commandLine);

} // namespace master
