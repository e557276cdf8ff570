# Writes each file of the board template as {"relative/path", R"(text)"}.
file(GLOB_RECURSE files RELATIVE ${BASE} ${BASE}/*)
list(SORT files)
set(body "")
foreach(file ${files})
  file(READ ${BASE}/${file} text)
  string(APPEND body "{\"${file}\", R\"FTMSIM_FILE(${text})FTMSIM_FILE\"},\n")
endforeach()
file(WRITE ${OUT} "${body}")
