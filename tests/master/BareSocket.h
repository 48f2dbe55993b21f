#pragma once

#include <chrono>
#include <memory>
#include <vector>

#include "ostrel/Descriptor.h"
#include "ostrel/Path.h"

/// A connection that says what the test says, or nothing: no client of the Master's protocol.
using BareSocket = std::unique_ptr<ostrel::Descriptor>;
using BareSockets = std::vector<BareSocket>;

/// Fail the test where nobody listens.
BareSocket ConnectToFile(const ostrel::Path &file);
/// To 127.0.0.1, as a peer of this address, which is one of this machine's own.
BareSocket ConnectToPort(int port, const char *from = "127.0.0.1");

/// The same in two steps, for a test that has no descriptor to give when it connects.
BareSocket MakeFileSocket();
void Connect(const BareSocket &socket, const ostrel::Path &file);

/// Fails the test where it does not go.
void Say(const BareSocket &socket, const char *text);

/// Whether the other side has closed it, or does within this time. What it says before is dropped.
bool IsClosed(const BareSocket &socket, std::chrono::milliseconds within);
