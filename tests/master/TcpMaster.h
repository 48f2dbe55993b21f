#pragma once

#include "master/door/Tokens.h"
#include "tests/master/RawClient.h"
#include "tests/master/RunningMaster.h"
#include "tests/master/TestCertificate.h"
#include "tests/master/TestJobs.h"
#include "tests/support/TempFolder.h"

/// A Master beyond the machine in a folder of the test's own, as it is set before `Start`: with a
/// certificate of "localhost" and the tokens that are made of it.
class TcpMaster
{
public:
    TcpMaster();

    /// Has a token made, as the program does, and gives it.
    std::string AddToken(const std::string &user, master::Role role);
    void RemoveTokensOf(const std::string &user);

    /// Fails the test where it does not start.
    void Start();

    /// A client that brings this token; not greeted yet.
    std::unique_ptr<RawClient> Connect(const std::string &token);

    std::shared_ptr<grpc::ChannelCredentials> Credentials() const;

    /// The port on 127.0.0.1.
    int Port() const;

    RunningMaster &Running()
    {
        return *m_master;
    }

    TempFolder folder;
    master::MasterSettings settings = SettingsIn(folder.Folder());

private:
    TestJobTypes m_types;
    TestCertificate m_certificate;
    std::unique_ptr<RunningMaster> m_master;
};
