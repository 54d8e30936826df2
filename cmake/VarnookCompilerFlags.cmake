# Strict defines and warnings for every target of the project.
function(varnook_strict target)
  target_compile_definitions(${target} PRIVATE
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT
    QT_USE_QSTRINGBUILDER
    QT_DISABLE_DEPRECATED_BEFORE=0x060400)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wshadow -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
    -Wcast-qual -Wformat=2)
  if(VARNOOK_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

if(VARNOOK_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
