/*
 * libkova: connects the device to the account service. C sees the C functions, C++ sees everything.
 *
 * 1. Ownership. The caller owns every record, buffer and Json::Value that it passes; results are copied into them. The
 *    one exception is HttpsResponse.body, released with TARVKOVAHttpsResponseFree.
 * 2. Results. An int is 0 (or more) on success and negative on failure, and TARVKOVAErrGet then tells why. No exception
 *    leaves the library; one inside it becomes code 6 and -1.
 * 3. Texts are NUL-terminated and, as far as the service shows them, UTF-8. Sizes count bytes and include the NUL.
 * 4. Null is allowed only where a comment says so; a null required argument is code 1 and -1, unless a comment says
 *    otherwise.
 * 5. Threads. Nothing is locked: call from one thread at a time. Calls run to completion and block.
 * 6. A failed operation leaves the device's files as they were, unless its comment says otherwise.
 * 7. Paths are the device's own ("/etc/kova.conf"); KovaDevicePath of <kova/platform.h> says where they lie.
 */
#ifndef KOVA_KOVA_H
#define KOVA_KOVA_H

#include <kova/account.h>
#include <kova/error.h>
#include <kova/error_text.h>
#include <kova/platform.h>
#include <kova/services.h>
#include <kova/session.h>
#include <kova/transport.h>
#include <kova/unify.h>

#endif
