// What xmlrpc_decompose_value() allocates for a reply's elements, and who releases it.
#ifndef NELKANET_DECODED_H
#define NELKANET_DECODED_H

#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <vector>

#include <xmlrpc-c/base.h>

namespace nelka {

/// Shape "s".
struct DecodedText {
    const char* text = nullptr;

    DecodedText() = default;
    ~DecodedText() { std::free(const_cast<char*>(text)); }
    DecodedText(const DecodedText&) = delete;
    DecodedText& operator=(const DecodedText&) = delete;

    std::string copy() const
    {
        if (!text)
            throw std::logic_error("the reply lacks a text");
        return text;
    }
};

/// Shape "6".
struct DecodedBlock {
    const unsigned char* bytes = nullptr;
    std::size_t size = 0;

    DecodedBlock() = default;
    ~DecodedBlock() { std::free(const_cast<unsigned char*>(bytes)); }
    DecodedBlock(const DecodedBlock&) = delete;
    DecodedBlock& operator=(const DecodedBlock&) = delete;

    void copyTo(std::vector<char>& block, std::size_t count) const { block.assign(bytes, bytes + count); }
};

/// Shape "A".
struct DecodedArray {
    xmlrpc_value* array = nullptr;

    DecodedArray() = default;
    ~DecodedArray()
    {
        if (array)
            xmlrpc_DECREF(array);
    }
    DecodedArray(const DecodedArray&) = delete;
    DecodedArray& operator=(const DecodedArray&) = delete;
};

// A failed decode releases the buffers of the elements before the one that failed, and leaves dangling pointers to
// them.

inline void forgetBuffer(xmlrpc_int32*) {}

inline void forgetBuffer(xmlrpc_int64*) {}

inline void forgetBuffer(std::size_t* size)
{
    *size = 0;
}

template <typename Buffer>
void forgetBuffer(Buffer** buffer)
{
    *buffer = nullptr;
}

} // namespace nelka

#endif
