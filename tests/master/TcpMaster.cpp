#include "tests/master/TcpMaster.h"

#include <filesystem>
#include <sys/stat.h>

#include <gtest/gtest.h>

TcpMaster::TcpMaster()
{
    settings.server.address = {corvan::MasterAddress::Kind::Tcp, "127.0.0.1:0", {}};
    settings.server.security = {folder.MakeFile("certificate.pem", m_certificate.certificate),
                                folder.MakeFile("key.pem", m_certificate.key), ""};
    ::chmod((folder / "key.pem").Text().c_str(), 0600);
    settings.server.tokensFile = master::TokensFileIn(folder.Folder());
}

std::string TcpMaster::AddToken(const std::string &user, master::Role role)
{
    const master::NewToken made = master::MakeToken(user, role);
    auto tokens = master::LoadTokens(settings.server.tokensFile);
    tokens.push_back(made.record);
    master::SaveTokens(settings.server.tokensFile, tokens);
    return made.token;
}

void TcpMaster::RemoveTokensOf(const std::string &user)
{
    auto tokens = master::LoadTokens(settings.server.tokensFile);
    std::erase_if(tokens, [&](const master::TokenRecord &record) { return record.user == user; });
    master::SaveTokens(settings.server.tokensFile, tokens);
}

void TcpMaster::Start()
{
    m_master.reset();
    m_master = std::make_unique<RunningMaster>(settings, 1);
    ASSERT_EQ(m_master->Error(), "");
}

std::unique_ptr<RawClient> TcpMaster::Connect(const std::string &token)
{
    return std::make_unique<RawClient>(m_master->Address(), Credentials(), token);
}

std::shared_ptr<grpc::ChannelCredentials> TcpMaster::Credentials() const
{
    grpc::SslCredentialsOptions options;
    options.pem_root_certs = m_certificate.certificate;
    return grpc::SslCredentials(options);
}

int TcpMaster::Port() const
{
    const std::string &address = m_master->Address();
    return std::stoi(address.substr(address.rfind(':') + 1));
}
