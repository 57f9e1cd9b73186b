# Warning flags are PRIVATE to each target of this project, never imposed on
# a project that uses the library.
function(konib_warnings target)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4)
    if(KONIB_WERROR)
      target_compile_options(${target} PRIVATE /WX)
    endif()
  else()
    target_compile_options(${target} PRIVATE
      -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-qual
      -Wnon-virtual-dtor -Wold-style-cast -Wundef)
    if(KONIB_WERROR)
      target_compile_options(${target} PRIVATE -Werror)
    endif()
  endif()
endfunction()
