# Writes IN as a byte array named SYMBOL into the C++ source OUT.
file(READ "${IN}" content HEX)
string(LENGTH "${content}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
file(WRITE "${OUT}"
  "#include <cstddef>\n"
  "#include <string_view>\n"
  "namespace lv {\n"
  "static const unsigned char kBytes[] = {${bytes} 0x00};\n"
  "std::string_view ${SYMBOL}() {\n"
  "  return {reinterpret_cast<const char*>(kBytes), ${size}};\n"
  "}\n"
  "}  // namespace lv\n")
