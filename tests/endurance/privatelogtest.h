// A client whose lines go to a private system log.
#pragma once

#include <iostream>

#include <gtest/gtest.h>
#include <nelkanet/xmlrpclient.h>

#include "support/privatelog.h"
#include "support/scriptedslave.h"

namespace support {

class PrivateLogTest : public ::testing::Test {
protected:
    ScriptedSlave slave;
    nelka::XmlrpcClient client{"127.0.0.1", slave.port(), "eth1", "app", "1.0"};
    const PrivateLog log;

    explicit PrivateLogTest(const Step& reply) : slave({reply}) {}

    void SetUp() override
    {
        if (!log.works()) {
            std::cerr << "SKIPPED: no right to make a private /dev/log\n";
            GTEST_SKIP();
        }
        ASSERT_EQ(client.init(), 0);
    }
};

} // namespace support
