# What an install has on each system.
set(sturdy_public_headers
    ${PROJECT_SOURCE_DIR}/include/sturdy/sturdy.h
    ${PROJECT_SOURCE_DIR}/include/sturdy/client.h
    ${PROJECT_SOURCE_DIR}/include/sturdy/backoff.h)
# The guides link each other, so they go together. SECURITY.md has no links, since it lies elsewhere in
# the source.
set(sturdy_pages
    ${PROJECT_SOURCE_DIR}/docs/architecture.md
    ${PROJECT_SOURCE_DIR}/docs/client-guide.md
    ${PROJECT_SOURCE_DIR}/docs/lab-scenario.md
    ${PROJECT_SOURCE_DIR}/docs/log-and-cache-files.md
    ${PROJECT_SOURCE_DIR}/SECURITY.md)
