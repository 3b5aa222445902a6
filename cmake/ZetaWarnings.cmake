# Warnings and sanitizers for every target of the project.
add_compile_options(-Wall -Wextra -Wpedantic)
if(ZETA_WERROR)
  add_compile_options(-Werror)
endif()

if(ZETA_SANITIZE)
  string(REPLACE ";" "," _zeta_sanitizers "${ZETA_SANITIZE}")
  add_compile_options(-fsanitize=${_zeta_sanitizers} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${_zeta_sanitizers})
endif()
