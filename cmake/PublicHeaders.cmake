# SPDX-License-Identifier: MIT
# The public headers of the library: these, and all headers that they include.
set(velmora_entry_headers
    capture/VelmoraCanvas.h
    framework/Application.h
    framework/Date.h
    framework/TextStreams.h
    framework/Timer.h
    framework/Widgets.h
    framework/Window.h
    library/CaptureRuntime.h
    platform/digitizer/CameraDigitizer.h
    platform/drawing/PixelFormat.h
    platform/movies/MovieRecovery.h
    platform/sound/SoundSource.h)

# Sets `result` to the given headers and all headers that they include, as paths relative to `folder`.
function(follow_includes result folder)
  set(found)
  set(open ${ARGN})
  while(open)
    list(POP_FRONT open header)
    if(header IN_LIST found OR NOT EXISTS ${folder}/${header})
      continue()
    endif()
    list(APPEND found ${header})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${folder}/${header})
    file(STRINGS ${folder}/${header} lines REGEX "^#include \"")
    list(TRANSFORM lines REPLACE "^#include \"([^\"]+)\".*" "\\1")
    list(APPEND open ${lines})
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

follow_includes(velmora_public_headers ${CMAKE_SOURCE_DIR}/src ${velmora_entry_headers})
