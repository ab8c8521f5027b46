// Leaks that LeakSanitizer must not report, in nelkactl and in test programs.
#pragma GCC visibility push(default)
extern "C" {

/// Each line exempts one operation, the last one the test of xmlrpc-c's own leak. The tests of leaks check that they
/// leak exactly that.
const char* __lsan_default_suppressions()
{
    // The reply of a refused script and that of a report without its text leak.
    return "leak:nelka::XmlrpcClient::ejecutar_script\n"
           "leak:nelka::XmlrpcClient::getScanReport\n"
           // xmlrpc-c leaks an argument list that is a text instead of an array; that test calls it directly.
           "leak:nelka::XmlrpcClient::DlFicheroEsclavo\n"
           "leak:OfDeletionAreThoseOfXmlrpcC\n";
}

/// Fast unwinding loses the stack in libraries without frame pointers, and with it the names above.
const char* __asan_default_options()
{
    return "fast_unwind_on_malloc=0";
}

const char* __lsan_default_options()
{
    return "print_suppressions=0";
}
}
#pragma GCC visibility pop
