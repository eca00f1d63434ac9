# Compiles resources/lang/*.txt into the binary: the text table never depends on
# files lying beside the executable.
function(lv_embed_texts target lang_file symbol)
  set(out "${CMAKE_CURRENT_BINARY_DIR}/${symbol}.cpp")
  add_custom_command(
    OUTPUT "${out}"
    COMMAND ${CMAKE_COMMAND} -DIN=${lang_file} -DOUT=${out} -DSYMBOL=${symbol}
            -P "${PROJECT_SOURCE_DIR}/cmake/EmbedFile.cmake"
    DEPENDS "${lang_file}" "${PROJECT_SOURCE_DIR}/cmake/EmbedFile.cmake"
    COMMENT "Embedding ${lang_file}")
  target_sources(${target} PRIVATE "${out}")
endfunction()
