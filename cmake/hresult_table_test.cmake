# Shows that hresult_table.cmake writes what it should and refuses what it should.
#
#   cmake -DFOLDER=scratch -P hresult_table_test.cmake
cmake_minimum_required(VERSION 3.25)

string(ASCII 9 tab)

# Runs the generator on the text, its TABs written as bars. It must complain so, or without complaint write these rows.
function(expect text complaint rows)
  string(REPLACE "|" "${tab}" text "${text}")
  file(WRITE "${FOLDER}/input.tsv" "${text}")
  file(WRITE "${FOLDER}/output.inc" "")
  execute_process(COMMAND "${CMAKE_COMMAND}" "-DINPUT=${FOLDER}/input.tsv" "-DOUTPUT=${FOLDER}/output.inc"
                          -P "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/hresult_table.cmake"
                  ERROR_VARIABLE errors)
  file(READ "${FOLDER}/output.inc" output)
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}")
  if(NOT errors MATCHES "^(.*input.tsv:)?${complaint}" OR NOT output STREQUAL rows)
    message(FATAL_ERROR "for\n${text}expected '${complaint}' and\n${rows}and got ${errors}\n${output}")
  endif()
endfunction()

expect("0x00000001|A|a; [b] \"c\" \\d\\ 1 \\\"\n0x80000000|B|\n0x80000000|C|\n0xFFFFFFFF|d_1|last\n" "$"
  "{0x00000001u, \"A\", \"a; [b] \\\"c\\\" \\\\d\\\\ 1 \\\\\\\"\"},\n{0x80000000u, \"B\", nullptr},\n{0xFFFFFFFFu, \"d_1\", \"last\"},\n")
expect("0x00000001|A|one\n0x00000002|B\n" "2: a line has three columns" "")
expect("0x8000000a|A|one\n" "1: '0x8000000a' is not" "")
expect("0x00000001||one\n" "1: '' is not a name" "")
expect("0x00000002|A|\n0x00000001|B|\n" "2: 0x00000001 stands after 0x00000002" "")
expect("0x00000001|A|one\n0x00000001|A|\n" "2: 0x00000001 A is there twice" "")
expect("0x00000001|A|one\n0x00000001|B|two\n" "2: only the first line" "")
expect("0x00000001|A|one of %1\n" "1: the message does not stand by itself" "")
expect("0x00000001|A|Error: one\n" "1: the message does not stand by itself" "")
expect("0x00000001|A|one" " the last line has no line end" "")
