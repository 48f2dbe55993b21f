// Stands before GLib's own functions of these names, for all that call them from outside of GLib.
#include "tests/support/LoopSources.h"

#include <cstdlib>
#include <fcntl.h>
#include <glib.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

/// Null where the environment names no file, or one that cannot be had.
void *MapFile()
{
    const char *const path = std::getenv("LOOP_SOURCES_FILE");
    const int file = path ? open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600) : -1;
    if (file < 0)
        return nullptr;
    void *map = MAP_FAILED;
    if (ftruncate(file, sizeof(LoopSources)) == 0)
        map = mmap(nullptr, sizeof(LoopSources), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    close(file);
    return map == MAP_FAILED ? nullptr : map;
}

void Count(GSource * /*source*/)
{
    ++LoopSources::Counts().freed;
}

guint Add(GSource *source, gint priority, GSourceFunc function, gpointer data,
          GDestroyNotify notify)
{
    ++LoopSources::Counts().added;
    g_source_set_priority(source, priority);
    g_source_set_callback(source, function, data, notify);
    g_source_set_dispose_function(source, Count);
    const guint id = g_source_attach(source, nullptr);
    g_source_unref(source);
    return id;
}

} // namespace

LoopSources &LoopSources::Counts()
{
    static LoopSources own{};
    static void *const shared = MapFile();
    return shared ? *static_cast<LoopSources *>(shared) : own;
}

extern "C"
{

    guint g_timeout_add_full(gint priority, guint interval, GSourceFunc function, gpointer data,
                             GDestroyNotify notify)
    {
        return Add(g_timeout_source_new(interval), priority, function, data, notify);
    }

    guint g_timeout_add(guint interval, GSourceFunc function, gpointer data)
    {
        return g_timeout_add_full(G_PRIORITY_DEFAULT, interval, function, data, nullptr);
    }

    guint g_idle_add_full(gint priority, GSourceFunc function, gpointer data, GDestroyNotify notify)
    {
        return Add(g_idle_source_new(), priority, function, data, notify);
    }

    guint g_idle_add(GSourceFunc function, gpointer data)
    {
        return g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, function, data, nullptr);
    }

} // extern "C"
