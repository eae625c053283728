# Sets qv_icon: the programs' icon as text of a resource script, from the drawing in icon.txt. One pixel a character: '.'
# nothing, 'o' the outline, 'x' the paper, '2' the marked line and its arrow, '3' another line.
#
# An icon is a bitmap of 4 bits a pixel, bottom row first, with a mask of 1 bit a pixel behind it, for which its height
# counts twice. Resource scripts hold words of 16 bits, low byte first; in a byte the left pixel comes highest.
set(colours o x 2 3)
# Blue with green, then red; colour 0 lies where nothing is drawn.
set(palette "0, 0, 0x465A, 0x32, 0xFFFF, 0xFF, 0x3C3C, 0xC8, 0xA5B4, 0x96")
string(REPEAT ", 0, 0" 11 unused_colours)

file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/icon.txt" rows)
list(REVERSE rows)
set(pixels "")
set(mask "")
foreach(row IN LISTS rows)
  set(clear 0)
  foreach(column RANGE 31)
    string(SUBSTRING "${row}" ${column} 1 character)
    list(FIND colours "${character}" colour)
    if(column MATCHES "[02468]$")
      math(EXPR byte "(${colour} + 1) << 4")
    else()
      math(EXPR byte "${byte} | (${colour} + 1)")
      list(APPEND bytes ${byte})
    endif()
    if(colour EQUAL -1)
      math(EXPR clear "${clear} | 1 << (${column} / 8 * 8 + 7 - ${column} % 8)")
    endif()
  endforeach()
  while(bytes)
    list(POP_FRONT bytes low high)
    math(EXPR word "${low} | ${high} << 8")
    string(APPEND pixels ", ${word}")
  endwhile()
  math(EXPR left "${clear} & 0xFFFF")
  math(EXPR right "${clear} >> 16")
  string(APPEND mask ", ${left}, ${right}")
endforeach()

# The bitmap's header: 40 bytes, 32 by 32 and its mask, one plane of 4 bits, 640 bytes. The group lists the icon of 744
# bytes with the number 1.
set(qv_icon "1 3 BEGIN 40, 0, 32, 0, 64, 0, 1, 4, 0, 0, 640, 0, 0, 0, 0, 0, 0, 0, 0, 0,
${palette}${unused_colours}${pixels}${mask} END
1 14 BEGIN 0, 1, 1, 0x2020, 16, 1, 4, 744, 0, 1 END
")
