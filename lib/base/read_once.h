// Reading what the daemon may be changing: each word once, so that what was tested is what is used.
#ifndef HB_READ_ONCE_H
#define HB_READ_ONCE_H

template <typename Word> Word hb_read_once(const Word &shared) {
    return static_cast<const volatile Word &>(shared);
}

// The same; what the program reads behind it is read after it.
template <typename Word> Word hb_read_in_order(const Word &shared) {
    return __atomic_load_n(&shared, __ATOMIC_ACQUIRE);
}

#endif
