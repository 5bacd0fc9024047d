function(vexa_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow
    -Wcast-align $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Werror)
endfunction()
