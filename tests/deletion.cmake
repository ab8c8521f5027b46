nelka_test(deletion)
