// For any document of a peer: if the screen accepts it, xmlrpc-c's parser and writer survive it; if the screen refuses
// it, the reason is true. The quick scan agrees with expat.
#include "../../src/screen.cpp"

#include <cstdlib>
#include <string>

namespace {

struct Environment {
    xmlrpc_env env;
    Environment() { xmlrpc_env_init(&env); }
    ~Environment() { xmlrpc_env_clean(&env); }
};

void require(bool truth)
{
    if (!truth)
        std::abort();
}

// A handler of a server may return what it received.
void writeAndRelease(xmlrpc_value* value)
{
    const Environment writing;
    xmlrpc_env* const env = const_cast<xmlrpc_env*>(&writing.env);
    xmlrpc_mem_block* const xml = xmlrpc_mem_block_new(env, 0);
    xmlrpc_serialize_value(env, xml, value);
    xmlrpc_mem_block_free(xml);
    xmlrpc_DECREF(value);
}

bool isReadAsReply(std::string_view document)
{
    Environment reading;
    xmlrpc_value* value = nullptr;
    int code = 0;
    const char* text = nullptr;
    xmlrpc_parse_response2(&reading.env, document.data(), document.size(), &value, &code, &text);
    if (reading.env.fault_occurred)
        return false;
    if (text)
        std::free(const_cast<char*>(text));
    else
        writeAndRelease(value);
    return true;
}

bool isReadAsCall(std::string_view document)
{
    Environment reading;
    const char* method = nullptr;
    xmlrpc_value* parameters = nullptr;
    xmlrpc_parse_call(&reading.env, document.data(), document.size(), &method, &parameters);
    if (reading.env.fault_occurred)
        return false;
    std::free(const_cast<char*>(method));
    writeAndRelease(parameters);
    return true;
}

bool isOfTheParser(std::string_view reason)
{
    for (int code = XML_ERROR_NONE + 1; XML_ErrorString(static_cast<XML_Error>(code)); ++code)
        if (reason == XML_ErrorString(static_cast<XML_Error>(code)))
            return true;
    return false;
}

bool isRefusedRightly(std::string_view document, std::string_view reason)
{
    using nelka::contains;
    // In plain ASCII both readers find the same errors; otherwise the older one may see markup that is not there.
    if (isOfTheParser(reason))
        return !nelka::isAsciiWithoutZero(document) || contains(document, "<!DOCTYPE")
               || (!isReadAsReply(document) && !isReadAsCall(document));
    if (contains(reason, "i8"))
        return contains(document, "i8");
    if (contains(reason, "double"))
        return contains(document, "double") && document.find_first_of("nN&") != std::string_view::npos;
    if (contains(reason, "subset"))
        return contains(document, "<!DOCTYPE");
    if (contains(reason, "zero") || contains(reason, "mark"))
        return !nelka::isAsciiWithoutZero(document);
    if (contains(reason, "long"))
        return document.size() > nelka::foreignNameLimit;
    // The other limits need documents of at least this size.
    return document.size() > 3 * nelka::openElementsLimit;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    const std::string_view document(reinterpret_cast<const char*>(data), size);
    const char* const reason = nelka::reasonToRefuse(document);
    if (reason) {
        require(isRefusedRightly(document, reason));
        return 0;
    }
    isReadAsReply(document);
    isReadAsCall(document);
    if (document.size() <= xmlrpc_limit_get(XMLRPC_XML_SIZE_LIMIT_ID) && nelka::isPlainlyHarmless(document)) {
        // A long name in a short document is harmless.
        const char* const carefully = nelka::reasonOfParser(document);
        require(!carefully || isOfTheParser(carefully) || nelka::contains(carefully, "long"));
    }
    return 0;
}
