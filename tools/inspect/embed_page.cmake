# Makes a source of the page: cmake -DPAGE=<page.html> -DSOURCE=<file to write> -P embed_page.cmake
# Compilers limit the length of one string literal; neighbours are joined.
file(READ ${PAGE} page)
string(LENGTH "${page}" length)
set(text)
set(at 0)
while(at LESS length)
  string(SUBSTRING "${page}" ${at} 8000 part)
  string(APPEND text "R\"page(${part})page\"\n")
  math(EXPR at "${at} + 8000")
endwhile()
file(WRITE ${SOURCE} "#include \"inspect/page_html.h\"\n\nnamespace inspect {\n\n"
  "const std::string_view kPageHtml =\n${text};\n\n}  // namespace inspect\n")
