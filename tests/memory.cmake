nelka_test(memory LIBRARIES XmlrpcC::server)
