/* What the engine asks of the system beyond files: the program's name, and what the
 * processor can do beyond what every x86-64 processor can. One file per system
 * implements it: not every compiler brings the tables that its own way of asking for
 * the processor needs. Any thread, also before main. */
#ifndef TROVIK_MODEL_PLATFORM_H
#define TROVIK_MODEL_PLATFORM_H

#ifdef __cplusplus
extern "C" {
#endif

/* The name under which the running program was started, without its folder; owned by
 * the system. */
const char *program_name(void);

#ifdef __cplusplus
}

/* All false on other processors than x86-64. */
bool processor_has_avx2();
bool processor_has_avx512();      /* with the parts DQ, BW and VL */
bool processor_has_avx512_ifma(); /* multiplication of 52-bit integers */
#endif
#endif
