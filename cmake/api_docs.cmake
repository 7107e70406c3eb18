# The target `api_docs`: HTML pages from the public headers in <build>/api_docs/html. A warning of Doxygen fails it.
find_package(Doxygen QUIET)
if(DOXYGEN_FOUND)
  set(quill_api_docs_dir ${PROJECT_BINARY_DIR}/api_docs)
  configure_file(docs/Doxyfile.in ${quill_api_docs_dir}/Doxyfile @ONLY)
  add_custom_target(api_docs
    COMMAND Doxygen::doxygen ${quill_api_docs_dir}/Doxyfile
    WORKING_DIRECTORY ${quill_api_docs_dir}
    COMMENT "Building the API documentation in ${quill_api_docs_dir}/html" VERBATIM)
  add_dependencies(api_docs quill_public_headers)
endif()
