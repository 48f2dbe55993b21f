#pragma once

#include <atomic>
#include <string>
#include <thread>

/// A socket file whose connections are passed on to another one, until it is frozen: then nothing
/// moves any more, in either direction, and nobody is told. That is what a peer looks like whose
/// machine lost its power.
class RelaySocket
{
public:
    RelaySocket(const std::string &listenAt, const std::string &passOnTo);
    ~RelaySocket();
    RelaySocket(const RelaySocket &) = delete;
    RelaySocket &operator=(const RelaySocket &) = delete;

    void Freeze();

private:
    void Run();

    std::string m_passOnTo;
    int m_listener;
    int m_wakeUp;
    std::atomic<bool> m_isFrozen = false;
    std::atomic<bool> m_isOver = false;
    std::thread m_thread;
};

/// A socket file that takes connections and never says a word.
class MuteSocket
{
public:
    explicit MuteSocket(const std::string &path);
    ~MuteSocket();
    MuteSocket(const MuteSocket &) = delete;
    MuteSocket &operator=(const MuteSocket &) = delete;

private:
    int m_listener;
};
