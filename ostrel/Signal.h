#pragma once

#include <boost/make_shared.hpp>
#include <boost/shared_ptr.hpp>
#include <boost/signals2/dummy_mutex.hpp>
#include <boost/signals2/signal_type.hpp>

namespace ostrel
{

/// Ends a connection of a signal when the last holder lets go.
using SignalConnection = boost::shared_ptr<boost::signals2::scoped_connection>;

/// Something that happened, told to whoever connected.
///
/// Local to one thread: it takes no lock, and is connected, raised and disconnected on the
/// program's main thread. Receivers are called in the order they connected.
template <typename Parameter> class Signal
{
    using Raised = typename boost::signals2::signal_type<
        void(Parameter), boost::signals2::keywords::mutex_type<boost::signals2::dummy_mutex>>::type;

public:
    /// Calls `(object->*method)(parameter)` from now on, until the connection is released.
    /// `tracked`, where given, ends the connection by itself once that object is gone.
    template <typename Class, typename Base>
    [[nodiscard]] SignalConnection Connect(Class *object, void (Base::*method)(Parameter),
                                           const boost::shared_ptr<void> *tracked = nullptr)
    {
        typename Raised::slot_type slot([object, method](Parameter parameter)
                                        { (object->*method)(parameter); });
        if (tracked)
            slot.track(*tracked);
        return boost::make_shared<boost::signals2::scoped_connection>(m_raised.connect(slot));
    }

    /// The same for any function.
    template <typename Function> [[nodiscard]] SignalConnection ConnectFunction(Function function)
    {
        return boost::make_shared<boost::signals2::scoped_connection>(m_raised.connect(function));
    }

    void operator()(Parameter parameter)
    {
        m_raised(parameter);
    }

private:
    Raised m_raised;
};

} // namespace ostrel
