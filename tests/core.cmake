nelka_test(probe)
