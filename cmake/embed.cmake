# Writes a C++ source that holds files as texts: cmake -DOUT=... -DFOLDER=... -P embed.cmake
set(texts script bundle.js style bundle.css script_hash bundle.csp licences THIRD_PARTY_LICENSES)
set(source "#include \"report_bundle.h\"\n\nnamespace orvik::view {\n\nnamespace {\n")
set(views "")
while(texts)
  list(POP_FRONT texts name file)
  file(READ ${FOLDER}/${file} bytes HEX)
  string(LENGTH "${bytes}" digits)
  math(EXPR size "${digits} / 2")
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  # Lines of a length that editors and compilers bear.
  string(REGEX REPLACE "((0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,)(0x..,))" "\\1\n" bytes "${bytes}")
  string(APPEND source "constexpr char k_${name}_bytes[] = {\n${bytes}};\n")
  string(APPEND views
         "const std::string_view k_report_${name}(k_${name}_bytes, ${size});\n")
endwhile()
string(APPEND source "}  // namespace\n\n${views}\n}  // namespace orvik::view\n")
file(WRITE ${OUT} "${source}")
