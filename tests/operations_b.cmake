foreach(name operations tuning scanning files tables)
  nelka_test(${name})
endforeach()
