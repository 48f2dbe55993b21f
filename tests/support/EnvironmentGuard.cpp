#include "tests/support/EnvironmentGuard.h"

#include <cstdlib>

namespace
{

void Set(const std::string &name, const char *value)
{
    if (value)
        setenv(name.c_str(), value, 1);
    else
        unsetenv(name.c_str());
}

} // namespace

EnvironmentGuard::EnvironmentGuard(const char *name, const char *value) : m_name(name)
{
    if (const char *before = std::getenv(name))
        m_before = before;
    Set(m_name, value);
}

EnvironmentGuard::~EnvironmentGuard()
{
    Set(m_name, m_before ? m_before->c_str() : nullptr);
}
