# What an install has on each system.
set(sturdy_public_headers
    ${PROJECT_SOURCE_DIR}/include/sturdy/sturdy.h
    ${PROJECT_SOURCE_DIR}/include/sturdy/client.h
    ${PROJECT_SOURCE_DIR}/include/sturdy/backoff.h)
# They link each other, so they go together.
set(sturdy_pages
    ${PROJECT_SOURCE_DIR}/docs/architecture.md
    ${PROJECT_SOURCE_DIR}/docs/client-guide.md
    ${PROJECT_SOURCE_DIR}/docs/lab-scenario.md
    ${PROJECT_SOURCE_DIR}/docs/log-and-cache-files.md)
