# Writes OUTPUT, a C++ source that holds the FILES of FOLDER.
set(text "#include \"studio/page_files.h\"\n\nnamespace veltrane::studio {\n\nnamespace {\n\n")
set(table "")
set(number 0)
foreach(file IN LISTS FILES)
  file(READ ${FOLDER}/${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND text "constexpr unsigned char kFile${number}[] = {${bytes}0};\n")
  string(APPEND table "    {\"${file}\", {reinterpret_cast<const char*>(kFile${number}), "
                      "sizeof kFile${number} - 1}},\n")
  math(EXPR number "${number} + 1")
endforeach()
string(APPEND text "\nconst PageFile kFiles[] = {\n${table}    {},\n};\n\n}  // namespace\n\n"
                   "std::span<const PageFile> PageFiles() {\n    return {kFiles, ${number}};\n}\n\n"
                   "}  // namespace veltrane::studio\n")
file(WRITE ${OUTPUT} "${text}")
