#include "ostrel/Application.h"

#include <cassert>
#include <utility>

namespace ostrel
{

namespace
{

Application *s_application = nullptr;

} // namespace

Application::Application(String name) : m_name(std::move(name))
{
    assert(!s_application && "a program has one application object");
    s_application = this;
}

Application::~Application()
{
    s_application = nullptr;
}

Application *Application::Get()
{
    return s_application;
}

} // namespace ostrel
