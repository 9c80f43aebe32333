/* SPDX-License-Identifier: MIT */
/* The sample ring in small: one writer (a receiver's callback), one reader at a time (the sender's thread, stopped and
 * started anew while the writer goes on), no lock, every interleaving.
 *
 * The real ring has 16,777,216 entries in slices of 512; here there are ENTRIES in slices of SLICE, so that all states
 * can be visited, indices wrap several times, and a slice is copied entry by entry with the writer running between any
 * two. Entries carry the number of the pair they belong to. The writer stays less than a ring ahead of the reader
 * (PACED): how far it may run ahead of one that is stopped is shown by LAPPED, below.
 *
 * Release and acquire are modelled by the store buffer that they permit: the writer's entries become visible in any
 * order, but all of them before the index that covers them. With -DRELAXED the index may overtake them, and the
 * verification has to fail: it shows that the model can find what it is there to find.
 *
 * With -DLAPPED the writer does not wait. Then a slice may be a mixture, which is what the ring promises then: nothing
 * but indices in range, even, and multiples of the slice.
 *
 * With -DTWO_WRITERS two callbacks run at once, which a receiver's library is known to let happen after a USB error;
 * the promise is again that of LAPPED.
 */
#ifndef ENTRIES
#define ENTRIES 8
#endif
#define SLICE 4
#ifndef PAIRS
#define PAIRS 12 /* by each writer: the index passes the end three times */
#endif
#define BLOCK 2 /* pairs in a callback, which loads the index once */

#define AVAILABLE(w, r) ((w) >= (r) -> (w) - (r) : (w) - (r) + ENTRIES)

short ring[ENTRIES];   /* as everybody sees it */
short writeIndex = 0;
short readIndex = 0;
bool serverActive = true;    /* what the reader polls */
bool written = false;  /* the writer has written all there was */
byte readers = 0;
short consumed = 0;    /* pairs sent */

inline checkWriteIndex() {
    assert(writeIndex >= 0 && writeIndex < ENTRIES && writeIndex % 2 == 0)
}

inline checkReadIndex() {
    assert(readIndex >= 0 && readIndex < ENTRIES && readIndex % SLICE == 0)
}

/* Stores an entry at once or only just before the index that covers it: what a release store allows. */
proctype writer() {
    short w;
    short pair = 0;
    short first, second;
    do
    :: pair < PAIRS ->
#if !defined(LAPPED) && !defined(TWO_WRITERS)
        /* A ring's length ahead would read as empty: stay a pair short of it. */
        (pair - consumed) * 2 + 2 < ENTRIES;
#endif
        if
        :: pair % BLOCK == 0 -> w = writeIndex
        :: else -> skip
        fi;
        first = w;
        w = (w > ENTRIES - 2 -> 0 : w + 1);
        second = w;
        w = (w > ENTRIES - 2 -> 0 : w + 1);
        /* The two entries in either order, and, relaxed, the index before, between or after them. */
#ifdef RELAXED
        if
        :: writeIndex = w; ring[first] = pair; ring[second] = pair
        :: ring[first] = pair; writeIndex = w; ring[second] = pair
        :: ring[first] = pair; ring[second] = pair; writeIndex = w
        fi;
#else
        if
        :: ring[first] = pair; ring[second] = pair
        :: ring[second] = pair; ring[first] = pair
        fi;
        writeIndex = w;
#endif
        checkWriteIndex();
        pair++
    :: else -> break
    od;
    written = true
}

proctype reader() {
    short w, r, i, expected;
    do
    :: serverActive ->
        w = writeIndex; /* acquire: what it covers is visible from here on */
        r = readIndex;
        if
        :: AVAILABLE(w, r) >= SLICE ->
            i = 0;
            do
            :: i < SLICE ->
                expected = consumed + i / 2;
#if !defined(LAPPED) && !defined(TWO_WRITERS)
                /* Nothing torn, nothing unpublished, nothing lost, nothing twice. */
                assert(ring[r + i] == expected);
#endif
                i++
            :: else -> break
            od;
            readIndex = (r > ENTRIES - SLICE - 1 -> r + SLICE - ENTRIES : r + SLICE);
            checkReadIndex();
            consumed = consumed + SLICE / 2
        :: else -> skip /* sleeps */
        fi
    :: !serverActive -> break
    :: written && AVAILABLE(writeIndex, readIndex) < SLICE -> break
    od;
    readers--
}

/* The server that is torn down and set up again: at most one reader, started when the one before has ended. */
proctype server() {
    byte restarts = 0;
    do
    :: restarts < 2 ->
        serverActive = false;
        readers == 0;
        serverActive = true;
        readers++;
        run reader();
        restarts++
    :: break
    od
}

init {
    short i;
    /* Old content, which must never be taken for new. */
    for (i : 0 .. ENTRIES - 1) {
        ring[i] = -1
    }
    atomic {
        readers = 1;
        run writer();
#ifdef TWO_WRITERS
        run writer();
#endif
        run reader();
        run server()
    }
}
