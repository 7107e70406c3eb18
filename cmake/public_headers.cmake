# cmake -D source=FOLDER -D destination=FOLDER -P public_headers.cmake
# Writes quill/quill.h and every header that it reaches to `destination`. There they include one another as
# "quill/folder/name.h", so that an outside program needs one include path and a header of its own that is called
# "project/manifest.h", too, never takes the place of ours.
cmake_minimum_required(VERSION 3.25)

file(REMOVE_RECURSE ${destination})
set(include_directive "#include \"([a-z0-9_/]+\\.h)\"")
set(known quill.h)
set(waiting quill.h)
while(waiting)
  list(POP_FRONT waiting header)
  if(header STREQUAL "quill.h")
    file(READ ${source}/include/quill/quill.h text)
  else()
    file(READ ${source}/${header} text)
  endif()
  string(REGEX MATCHALL "${include_directive}" directives "${text}")
  foreach(directive IN LISTS directives)
    string(REGEX REPLACE "${include_directive}" "\\1" included "${directive}")
    if(NOT included IN_LIST known)
      list(APPEND known ${included})
      list(APPEND waiting ${included})
    endif()
  endforeach()
  string(REGEX REPLACE "${include_directive}" "#include \"quill/\\1\"" text "${text}")
  file(WRITE ${destination}/quill/${header} "${text}")
endwhile()
