# SPDX-License-Identifier: MIT
# Makes a page of HTML (OUTPUT) of a page in Markdown (PAGE): its first heading is the title, and links to pages in
# Markdown lead to their HTML.
execute_process(COMMAND ${CMARK_GFM} --extension table ${PAGE} OUTPUT_VARIABLE body COMMAND_ERROR_IS_FATAL ANY)
string(REGEX REPLACE "(href=\"[a-z-]+)\\.md" "\\1.html" body "${body}")
file(READ ${PAGE} text)
string(REGEX MATCH "^# ([^\n]*)" heading "${text}")
set(title "${CMAKE_MATCH_1}")
configure_file(${CMAKE_CURRENT_LIST_DIR}/page.html.in ${OUTPUT} @ONLY)
