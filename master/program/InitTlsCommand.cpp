#include "master/program/InitTlsCommand.h"

#include <cstdio>
#include <filesystem>
#include <vector>

#include "master/door/MakeTls.h"
#include "master/program/MasterOptions.h"

namespace master
{

void RunInitTlsCommand(const CommandLine &commandLine)
{
    if (commandLine.CountPlain() < 3)
        throw new UsageException("usage: corvan-master init-tls DIR HOST...");
    const Path folder =
        std::filesystem::absolute(commandLine.GetArgument(nullptr, 1, {}).c_str()).string();
    std::vector<String> hosts;
    for (int i = 2; i < commandLine.CountPlain(); ++i)
        hosts.push_back(commandLine.GetArgument(nullptr, i, {}));

    const bool isNew = MakeTls(folder, hosts);
    const TlsFiles files = TlsFilesIn(folder);
    std::printf("%s\n\n"
                "The Master's options:\n[Master]\nCertificate = %s\nKey = %s\n\n"
                "Its clients' options, with a copy of %s:\n[Master]\nCertificate = %s\n",
                isNew ? "A new authority, and a certificate for a year."
                      : "A renewed certificate for a year, by the authority that was there.",
                files.certificate.Text().c_str(), files.key.Text().c_str(),
                files.authority.Leaf(true).c_str(), files.authority.Text().c_str());
}

} // namespace master
