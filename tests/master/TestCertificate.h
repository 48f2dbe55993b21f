#pragma once

#include <string>

/// A certificate of "localhost" and 127.0.0.1 that signs itself, good for an hour, and its key,
/// both made anew and in PEM form.
struct TestCertificate
{
    TestCertificate();

    std::string certificate;
    std::string key;
};
