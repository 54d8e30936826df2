# Installs into a scratch prefix and checks what a desktop installation needs is there.
set(prefix ${BUILD_DIR}/install-check)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix}
                RESULT_VARIABLE result OUTPUT_QUIET)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
foreach(path
    bin/varnook-settings
    bin/varnookctl
    share/applications/com.tesselmo.varnook.settings.desktop
    share/metainfo/com.tesselmo.varnook.settings.metainfo.xml
    share/icons/hicolor/scalable/apps/com.tesselmo.varnook.settings.svg)
  if(NOT EXISTS ${prefix}/${path})
    message(FATAL_ERROR "missing from the install tree: ${path}")
  endif()
endforeach()
file(GLOB_RECURSE launch ${SOURCE_DIR}/src/ui/*.cpp)
set(found FALSE)
foreach(f ${launch})
  file(READ ${f} text)
  if(text MATCHES "setDesktopFileName\\(u\"com\\.tesselmo\\.varnook\\.settings\"_s\\)")
    set(found TRUE)
  endif()
endforeach()
if(NOT found)
  message(FATAL_ERROR "the window does not announce the desktop file name as its app id")
endif()
message(STATUS "install tree complete")
