/// The terminal's security service.
#ifndef ZELSEC_ZELSEC_H
#define ZELSEC_ZELSEC_H

#ifdef __cplusplus
extern "C" {
#endif

/// Hands out the records of a list one by one: operation 2 the terminal's certificates (DER),
/// operation 4 its sponsor records. Each call copies the next record into `buffer`, which holds at
/// least 8192 octets, its length into `*length`, and returns 0; -510 at the end of the list, after
/// which the list begins afresh.
int CMDiag(int operation, void* buffer, unsigned short* length);

#ifdef __cplusplus
}
#endif

#endif  // ZELSEC_ZELSEC_H
