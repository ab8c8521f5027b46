nelka_test(endurance LABEL long)
nelka_test(systemlog LABEL long)
