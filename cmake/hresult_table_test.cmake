# Shows that hresult_table.cmake writes what it should and refuses what it should.
#
#   cmake -DFOLDER=scratch -P hresult_table_test.cmake
cmake_minimum_required(VERSION 3.25)

string(ASCII 9 tab)

# Runs the generator on the text; sets `result`, `errors` and `output`.
function(generate text)
  set(input "${FOLDER}/input.tsv")
  set(inc "${FOLDER}/output.inc")
  file(REMOVE "${inc}")
  string(REPLACE "|" "${tab}" text "${text}")
  file(WRITE "${input}" "${text}")
  execute_process(COMMAND "${CMAKE_COMMAND}" "-DINPUT=${input}" "-DOUTPUT=${inc}"
                          -P "${CMAKE_CURRENT_FUNCTION_LIST_DIR}/hresult_table.cmake"
                  RESULT_VARIABLE result ERROR_VARIABLE errors)
  set(output "")
  if(EXISTS "${inc}")
    file(READ "${inc}" output)
  endif()
  string(REGEX REPLACE "[ \n]+" " " errors "${errors}")
  return(PROPAGATE result errors output)
endfunction()

function(expect_rows text expected)
  generate("${text}")
  if(NOT result EQUAL 0 OR NOT output STREQUAL expected)
    message(FATAL_ERROR "for\n${text}expected\n${expected}and got (${result}, ${errors})\n${output}")
  endif()
endfunction()

function(expect_refusal text complaint)
  generate("${text}")
  string(FIND "${errors}" "${FOLDER}/${complaint}" found)
  if(result EQUAL 0 OR found EQUAL -1 OR NOT output STREQUAL "")
    message(FATAL_ERROR "for\n${text}expected the complaint '${complaint}' and got (${result}) ${errors}")
  endif()
endfunction()

expect_rows("0x00000001|A|one\n0x80000000|B|\n0x80000000|C|\n0xFFFFFFFF|d_1|last\n"
  "{0x00000001u, \"A\", \"one\"},\n{0x80000000u, \"B\", nullptr},\n{0xFFFFFFFFu, \"d_1\", \"last\"},\n")
expect_rows("0x00000001|A|a; [b] \"c\" \\d\\ %1 \\\"\n"
  "{0x00000001u, \"A\", \"a; [b] \\\"c\\\" \\\\d\\\\ %1 \\\\\\\"\"},\n")

expect_refusal("0x00000001|A|one\n0x00000002|B\n" "input.tsv:2: a line has three columns")
expect_refusal("0x00000001|A|one|more\n" "input.tsv:1: a line has three columns")
expect_refusal("0x00000001|A|one\n\n" "input.tsv:2: a line has three columns")
expect_refusal("0x1|A|one\n" "input.tsv:1: '0x1' is not")
expect_refusal("0x8000000a|A|one\n" "input.tsv:1: '0x8000000a' is not")
expect_refusal("0x00000001||one\n" "input.tsv:1: '' is not a name")
expect_refusal("0x00000002|A|\n0x00000001|B|\n" "input.tsv:2: 0x00000001 stands after 0x00000002")
expect_refusal("0x00000001|A|one\n0x00000001|A|\n" "input.tsv:2: 0x00000001 A is there twice")
expect_refusal("0x00000001|A|one\n0x00000001|B|two\n" "input.tsv:2: only the first line")
expect_refusal("0x00000001|A|one" "input.tsv: the last line has no line end")
