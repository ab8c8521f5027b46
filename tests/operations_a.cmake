nelka_test(database)
nelka_test(identity)
nelka_test(administration)
nelka_test(hardware)
