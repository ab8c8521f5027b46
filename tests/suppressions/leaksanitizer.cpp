// What LeakSanitizer is not to report: in nelkactl and in every program of tests that it is built into.
#pragma GCC visibility push(default)
extern "C" {

/// Each line exempts one operation, the last one the test that makes xmlrpc-c's own loss. The tests of leaks hold them
/// to exactly that.
const char* __lsan_default_suppressions()
{
    // The reply of a script that the slave refuses, and that of a report which lacks its text, are not released.
    return "leak:nelka::XmlrpcClient::ejecutar_script\n"
           "leak:nelka::XmlrpcClient::getScanReport\n"
           // xmlrpc-c loses an argument list that is one text and no array; so it does when those tests call it.
           "leak:nelka::XmlrpcClient::DlFicheroEsclavo\n"
           "leak:OfDeletionAreThoseOfXmlrpcC\n";
}

/// The fast way loses the stack in libraries without frame pointers, and with it the names above.
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
