#ifndef PDALINK_H
#define PDALINK_H

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Carries out one request of the host.
 *
 * inJson   The request: one JSON object, UTF-8, NUL-terminated. Its member "transCode" names the transaction,
 *          "600001" to "600019"; its other members carry the parameters.
 * inLen    Only written to the log.
 * outJson  Receives the response, one compact JSON object in UTF-8 with a terminating NUL. A refused request
 *          is answered with "{}"; nothing is written when the request is no JSON object with a member
 *          "transCode". The buffer belongs to the caller and must have room for the largest response: 131072
 *          bytes. What would not fit into them is left empty, and the result in the log is 1.
 *
 * outLen   Receives the length of the response in bytes, without its NUL. May be null.
 *
 * Returns 0, always: the outcome is in the response ("pRetCode" is "000000" when the terminal accepted the
 * request and "000060" when it gave no usable reply) and in the log.
 *
 * Blocks while the terminal is asked, up to about 11 s for each message that is sent; Qt's pending events are
 * processed meanwhile. To be called from one thread at a time.
 */
__attribute__((visibility("default"))) int PDA_CommonCall(const char* inJson, int inLen, char* outJson,
                                                          int* outLen);

#ifdef __cplusplus
}
#endif

#endif
