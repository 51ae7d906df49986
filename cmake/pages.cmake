# SPDX-License-Identifier: MIT
# What there is to read, laid out as in the source tree, so that the links in it hold.
install(FILES ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/CHANGELOG.md
              ${PROJECT_SOURCE_DIR}/LICENSE
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/docs ${PROJECT_SOURCE_DIR}/examples
        DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT dev
        FILES_MATCHING PATTERN "*.md" PATTERN "*.svg" PATTERN "*.png" PATTERN "*.c"
                       PATTERN "*.cpp" PATTERN "*.h" PATTERN "*.py" PATTERN "*.sh" PATTERN "*.jpg")
