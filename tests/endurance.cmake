nelka_test(matrix)
