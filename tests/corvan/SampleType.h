#pragma once

#include <boost/make_shared.hpp>

#include "corvan/JobFactory.h"
#include "corvan/JobType.h"

/// A type that renders frames, as tests need one.
inline corvan::JobType SampleType()
{
    corvan::JobType type;
    type.id = corvan::UID("0d5f2f62-7d6c-4c0e-a9a4-0c0f6d6b1e01", true);
    type.name = "Sample";
    type.defaults = {{"PacketSize", "5"}, {"Width", "640"}};
    type.renderCommand = {"true"};
    return type;
}

/// Adds the sample type to the program's factory, which is emptied afterwards.
class SampleTypeInFactory
{
public:
    SampleTypeInFactory()
    {
        corvan::JobFactory::s_JobFactory.AddType(SampleType());
    }
    ~SampleTypeInFactory()
    {
        corvan::JobFactory::s_JobFactory.Clear();
    }
    SampleTypeInFactory(const SampleTypeInFactory &) = delete;
    SampleTypeInFactory &operator=(const SampleTypeInFactory &) = delete;
};
