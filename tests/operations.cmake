# One program a family of operations, and those that go through all families.
foreach(name database identity administration tuning scanning hardware files tables deletion operations matrix)
  nelka_test(${name})
endforeach()
