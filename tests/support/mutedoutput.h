// Discards standard output.
#pragma once

#include <iostream>
#include <streambuf>

namespace support {

/// During its lifetime std::cout is discarded: the probe prints its answers there.
class MutedOutput : std::streambuf {
public:
    MutedOutput() : former(std::cout.rdbuf(this)) {}
    ~MutedOutput() override { std::cout.rdbuf(former); }
    MutedOutput(const MutedOutput&) = delete;
    MutedOutput& operator=(const MutedOutput&) = delete;

private:
    int overflow(int c) override { return traits_type::not_eof(c); }

    std::streambuf* const former;
};

} // namespace support
