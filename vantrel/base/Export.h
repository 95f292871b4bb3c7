/* Marks what a shared build of the library shows to its users; everything else stays hidden. C11 and C++20.
 */
#ifndef VANTREL_BASE_EXPORT_H
#define VANTREL_BASE_EXPORT_H

#define VANTREL_EXPORT __attribute__((visibility("default")))

#endif
