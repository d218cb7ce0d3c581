/* Stand-in for the maker's log library: the two entry points a client of the router calls, and nothing behind them.
 * It exists so that programs can be linked, run and tested on hosts that lack the maker's library, and is never
 * installed in its place. It keeps no state, starts no thread and needs nothing but the C library.
 *
 * A test steers it by environment variables, which are read at every call:
 *   VELALOG_STANDIN_INIT=<number>   what LogInit returns (default 0)
 *   VELALOG_STANDIN_FINI=<number>   what LogFini returns (default 0)
 *   VELALOG_STANDIN_TRACE=<file>    each call appends one line, in one write, with all its arguments:
 *       LogInit product="P" config="C" levels=-1,-1,-1 directory="D" result=0
 *       LogFini product="P" result=0
 *     A null pointer is written as null, without quotes. */
#ifndef VELALOG_STANDIN_H
#define VELALOG_STANDIN_H

#ifdef __cplusplus
extern "C" {
#endif

/* levels points to three integers; 0 is success. */
int LogInit(const char* product, const char* configPath, int* levels, const char* directory);
int LogFini(const char* product);

#ifdef __cplusplus
}
#endif

#endif
