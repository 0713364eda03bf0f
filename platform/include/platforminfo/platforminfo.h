/// The terminal's platform information service.
#ifndef PLATFORMINFO_PLATFORMINFO_H
#define PLATFORMINFO_PLATFORMINFO_H

#ifdef __cplusplus
extern "C" {
#endif

/// Copies the answer to `key` into `buffer`, at most `size` octets of it, and the number of octets
/// written into `*length`. 0 on success.
int platforminfo_get(int key, void* buffer, unsigned int size, unsigned int* length);

#ifdef __cplusplus
}
#endif

#endif  // PLATFORMINFO_PLATFORMINFO_H
