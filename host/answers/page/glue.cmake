# Puts the page's files and the viewer into one template, as the source of a string.
# usage: cmake -DFOLDER=... -DVIEWER=... -DOUTPUT=... -P glue.cmake
file(READ ${FOLDER}/page.html page)
file(READ ${FOLDER}/page.css style)
set(script "")
foreach(part geometry reaction viewer player facts list page)
    file(READ ${FOLDER}/${part}.js text)
    string(APPEND script "${text}\n")
endforeach()
file(READ ${VIEWER}/3Dmol-min.js viewer)
file(READ ${VIEWER}/LICENSE licence)
foreach(part style script licence viewer)
    string(REPLACE "{{${part}}}" "${${part}}" page "${page}")
endforeach()
file(WRITE ${OUTPUT} "#include \"host/answers/page_template.hpp\"

namespace saddlefit::host {

const std::string_view pageTemplate = R\"template(${page})template\";

} // namespace saddlefit::host
")
