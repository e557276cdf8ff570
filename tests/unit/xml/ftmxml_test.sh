#!/bin/sh
# ftmxml as a station engineer runs it: exact bytes on standard output and
# the documented exit statuses.
set -u
tool=$1
fail=0
check() { if [ "$2" != "$3" ]; then echo "FAIL $1: expected [$3], got [$2]"; fail=1; fi; }

want=$(printf '  <?xml version="1.0" encoding="UTF-8"?>\r\n  <DOWNLOAD_STATUS>\r\n    DONE\r\n  </DOWNLOAD_STATUS>\r\n' | od -An -c)
got=$(printf '<?xml version=1.0 encoding=UTF-8?><DOWNLOAD_STATUS> DONE </DOWNLOAD_STATUS>' |
  "$tool" --serialize - | od -An -c)
check serialize "$got" "$want"
check empty "$(printf 'no markup' | "$tool" --serialize - | wc -c)" 0
got=$(printf '<A x="1\t2">a\nb</A>' | "$tool" -)
check tree "$got" "$(printf 'element "top" hasContent=1 multiLineTag=1\n  element "A" hasContent=1 multiLineTag=0\n    attribute "x" = "1\\t2"\n    text "a\\r\\nb"')"
got=$(printf '<LED><LED_X/></LED></B>' | "$tool" - 2>&1 >/dev/null)
check warnings "$got" "$(printf '%s\n' \
  'ftmxml: warning: inside <LED>, the self-closing <LED_X/> counts as an opening of LED: LED does not close where meant and takes what follows' \
  'ftmxml: warning: a stray end tag </LED> where an element was expected: it became an element that takes the rest of its level' \
  'ftmxml: warning: a stray end tag </B> where an element was expected: it became an element that takes the rest of its level')"
"$tool" >/dev/null 2>&1; check no-file $? 2
"$tool" --serialize a b >/dev/null 2>&1; check two-files $? 2
"$tool" --frob x >/dev/null 2>&1; check bad-option $? 2
"$tool" /nonexistent/file >/dev/null 2>&1; check unreadable $? 1
exit $fail
