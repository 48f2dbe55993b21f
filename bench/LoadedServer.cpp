#include "bench/LoadedServer.h"

#include <vector>

namespace bench
{

namespace
{

std::vector<std::string> CommandOf(const std::string &name, const std::string &self,
                                   const Folder &folder, const std::string &socket)
{
    if (name != "Master")
        return {self, "--serve", "unix:" + socket};
    return {
        CORVAN_MASTER_PROGRAM, "--data",      folder / "data", "--listen", socket, "--slots", "0",
        "--log-file",          folder / "log"};
}

} // namespace

LoadedServer::LoadedServer(const std::string &name, const std::string &self)
    : m_socket(m_folder / "m.sock"), m_process(CommandOf(name, self, m_folder, m_socket))
{
}

} // namespace bench
