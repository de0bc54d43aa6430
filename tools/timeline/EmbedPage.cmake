# Writes the page without its data as C++: cmake -DSOURCE=... -DD3=... -DOUTPUT=... -P EmbedPage.cmake
# The page may run and style with nothing but what is inlined here: the policy in its head has the
# hashes of both.
set(scripts time axis words lanes draw overview details urls legend main)

file(READ ${SOURCE}/page.html page)
file(READ ${SOURCE}/page.css style)
file(READ ${D3} script)
string(APPEND script "\n(() => {\n\"use strict\";\n")
foreach(name IN LISTS scripts)
  file(READ ${SOURCE}/${name}.js text)
  string(APPEND script "${text}")
endforeach()
string(APPEND script "})();\n")
if(script MATCHES "</[Ss][Cc][Rr][Ii][Pp][Tt]")
  message(FATAL_ERROR "A script has the text that ends it in the page.")
endif()

# Sets `out` to the SHA-256 of a text in base64: 12 bits are two characters.
function(base64_hash out text)
  set(digits ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/)
  string(SHA256 hex "${text}")
  set(result "")
  foreach(at RANGE 0 63 3)
    string(SUBSTRING "${hex}00" ${at} 3 part)
    math(EXPR high "0x${part} >> 6")
    math(EXPR low "0x${part} & 63")
    string(SUBSTRING ${digits} ${high} 1 high)
    string(SUBSTRING ${digits} ${low} 1 low)
    string(APPEND result ${high}${low})
  endforeach()
  string(REGEX REPLACE ".$" "=" result ${result})
  set(${out} ${result} PARENT_SCOPE)
endfunction()

base64_hash(script_hash "${script}")
base64_hash(style_hash "${style}")
string(REPLACE "@SCRIPT_HASH@" ${script_hash} page "${page}")
string(REPLACE "@STYLE_HASH@" ${style_hash} page "${page}")
string(REPLACE "@STYLE@" "${style}" page "${page}")
string(REPLACE "@SCRIPT@" "${script}" page "${page}")

# Appends a function that returns a part of the page.
function(append_part name from length)
  string(SUBSTRING "${page}" ${from} ${length} part)
  file(WRITE ${OUTPUT}.part "${part}")
  file(READ ${OUTPUT}.part bytes HEX)
  file(REMOVE ${OUTPUT}.part)
  string(REGEX REPLACE "(..)" "0x\\1," bytes ${bytes})
  file(APPEND ${OUTPUT} "
std::string_view ${name}() {
  static constexpr unsigned char kBytes[] = {${bytes}};
  return {reinterpret_cast<const char*>(kBytes), sizeof(kBytes)};
}
")
endfunction()

string(FIND "${page}" "@DATA@" data)
math(EXPR after "${data} + 6")
file(WRITE ${OUTPUT} "#include \"tools/timeline/page_template.h\"\n\nnamespace timeline {\n")
append_part(PageHead 0 ${data})
append_part(PageTail ${after} -1)
file(APPEND ${OUTPUT} "\n}  // namespace timeline\n")
