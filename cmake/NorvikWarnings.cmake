# Warnings are errors on every compiler we build with.
function(nk_set_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Werror)
endfunction()

if(NK_SANITIZE)
  add_compile_options(-fsanitize=${NK_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NK_SANITIZE})
  if(NK_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()
