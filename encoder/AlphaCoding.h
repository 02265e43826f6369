#pragma once

/// How the runs of an alpha plane are written. The run code is redundant, and a decoder must read all three.
enum class AlphaRunCoding {
    Shortest, ///< the shortest code of each run
    LongForm, ///< runs of 2 and more in the eleven-bit form, also where a shorter code exists
    Split,    ///< long runs cut into pieces that need a difference of zero between them
};

/// How the differences of an alpha plane are written. The long form can express every difference.
enum class AlphaDifferenceCoding {
    Shortest, ///< the short form where it reaches
    LongForm, ///< the long form for every difference
};
