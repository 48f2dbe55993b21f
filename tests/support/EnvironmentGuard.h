#pragma once

#include <optional>
#include <string>

/// Sets a variable of the environment, or takes it away, for as long as it lives.
class EnvironmentGuard
{
public:
    /// Null takes the variable away.
    EnvironmentGuard(const char *name, const char *value);
    ~EnvironmentGuard();
    EnvironmentGuard(const EnvironmentGuard &) = delete;
    EnvironmentGuard &operator=(const EnvironmentGuard &) = delete;

private:
    std::string m_name;
    std::optional<std::string> m_before;
};
