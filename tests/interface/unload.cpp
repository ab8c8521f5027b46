// Loads the library at run time and unloads it.
#include <csignal>

#include <dlfcn.h>
#include <gtest/gtest.h>

namespace {

TEST(UnloadedLibrary, LeavesSignalHandlersInPlace)
{
    void* const library = dlopen(LIBRARY, RTLD_NOW);
    ASSERT_NE(library, nullptr) << dlerror();
    void* const handler = dlsym(library, "_ZN5nelka12XmlrpcClient12interruptRpcEi");
    ASSERT_NE(handler, nullptr) << dlerror();
    std::signal(SIGINT, reinterpret_cast<void (*)(int)>(handler));
    ASSERT_EQ(dlclose(library), 0);
    std::raise(SIGINT); // kills the process if the handler is gone
}

} // namespace
