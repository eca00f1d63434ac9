/* The interface of add-in function libraries for the formula language.
 *
 * A library exports one C function, DllGetCalcFunctionInfo. The program calls it with
 * index 0, 1, 2 ... and the library fills `info` and returns 1 for each function it
 * offers, and returns 0 after the last. Everything the library hands over (names,
 * texts, function pointers) must stay valid while the library is loaded; the program
 * never unloads it.
 *
 * Texts are UTF-8. Numbers are doubles; a missing value is a NaN. A missing text
 * argument has text == NULL.
 *
 * A string function writes its result into `buffer` (not terminated) when it fits
 * in `capacity` bytes, and returns the result's length in bytes; when the length is
 * larger than `capacity` the program calls it again with a buffer of that size. It
 * returns -1 for a missing result.
 *
 * Functions are called from one thread at a time, once per row.
 */
#ifndef LV_CALC_PLUGIN_API_H
#define LV_CALC_PLUGIN_API_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define LV_CALC_NUMBER 0
#define LV_CALC_STRING 1

typedef struct LVCalcValue {
  int32_t isString;
  double number;    /* when !isString */
  const char* text; /* when isString; NULL for a missing text */
  int32_t length;   /* bytes of text */
} LVCalcValue;

typedef double (*LVCalcNumberFunc)(const LVCalcValue* args, int32_t count);
typedef int32_t (*LVCalcStringFunc)(const LVCalcValue* args, int32_t count, char* buffer,
                                    int32_t capacity);

typedef struct LVCalcFunctionInfo {
  uint32_t structSize;        /* set by the program: sizeof(LVCalcFunctionInfo) */
  const char* name;           /* Latin letters, digits, '_'; not starting with a digit */
  int32_t minArgs;
  int32_t maxArgs;            /* -1: no upper limit */
  int32_t resultKind;         /* LV_CALC_NUMBER or LV_CALC_STRING */
  const char* argKinds;       /* 'N' number, 'S' text, 'A' either, per argument; the last
                                 letter repeats; NULL: all numbers */
  const char* description;    /* for the function catalogue; may be NULL */
  const char* argumentNames;  /* e.g. "Значение; Степень"; may be NULL */
  LVCalcNumberFunc number;    /* for LV_CALC_NUMBER */
  LVCalcStringFunc string;    /* for LV_CALC_STRING */
} LVCalcFunctionInfo;

typedef int32_t (*LVGetCalcFunctionInfo)(int32_t index, LVCalcFunctionInfo* info);

#ifdef __cplusplus
}
#endif

#endif
