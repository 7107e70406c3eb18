# Warnings, sanitizers, precompiled headers and symbol visibility, the same for every target.

function(quill_compiler_options target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>)
  if(QUILL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(QUILL_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${QUILL_SANITIZE} -fno-omit-frame-pointer)
    target_link_options(${target} PUBLIC -fsanitize=${QUILL_SANITIZE})
    if(QUILL_SANITIZE MATCHES "undefined")
      target_compile_options(${target} PRIVATE -fno-sanitize-recover=undefined)
    endif()
  endif()
endfunction()

# The standard headers that most modules of a large target include.
function(quill_precompile_headers target)
  if(QUILL_PRECOMPILE_HEADERS)
    target_precompile_headers(${target} PRIVATE <algorithm> <array> <cstdint> <filesystem> <functional> <map> <memory>
      <mutex> <optional> <set> <stdexcept> <string> <string_view> <unordered_map> <vector>)
  endif()
endfunction()

# Keeps everything out of the shared object's interface but the symbols that `list_file` names, one a line.
function(quill_exported_symbols target list_file)
  file(STRINGS ${list_file} symbols)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list_file})
  if(APPLE)
    list(TRANSFORM symbols PREPEND "_")
    list(JOIN symbols "\n" text)
    file(WRITE ${CMAKE_BINARY_DIR}/${target}.exports "${text}\n")
    target_link_options(${target} PRIVATE -Wl,-exported_symbols_list,${CMAKE_BINARY_DIR}/${target}.exports)
  else()
    list(JOIN symbols ";\n    " text)
    file(WRITE ${CMAKE_BINARY_DIR}/${target}.map "{\n  global:\n    ${text};\n  local:\n    *;\n};\n")
    target_link_options(${target} PRIVATE -Wl,--version-script=${CMAKE_BINARY_DIR}/${target}.map)
  endif()
endfunction()
