#pragma once

/** As long as it lives, a wait of the program for a child process that has a limit is over at once, as if its time were
 *  up; one without a limit takes as long as the child does. So a test sees in a moment for whom there is no limit, and
 *  which one there is for the others. One at a time. */
class Impatience
{
public:
    Impatience();
    ~Impatience();
    Impatience(const Impatience &) = delete;
    Impatience &operator=(const Impatience &) = delete;

    /** The longest limit so far, in whole seconds; 0: there was none. */
    int longestLimit() const;
};
