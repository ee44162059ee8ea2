/* libsigillo.so is made of its static modules; this unit only gives the target a source. */
