# Makes SEALED from RESOURCE and the SHA-256 of it as text, by which the console tells a whole help file from one
# that was cut off or damaged.
file(SHA256 ${RESOURCE} digest)
file(COPY_FILE ${RESOURCE} ${SEALED})
file(APPEND ${SEALED} ${digest})
