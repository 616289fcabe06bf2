/* The rival of an AT exchange. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Writes `line`, with its carriage return, and reads until OK. 0 or -1. */
int bare_exchange(int fd, const char *line);

#ifdef __cplusplus
}
#endif
