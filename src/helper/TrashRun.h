#pragma once

#include "HelperRun.h"

// "-trash": every project of the known locations whose project file lies in a Trash loses its
// autosaves, all of them or those that break a switched-on removal limit.
class TrashRun : public HelperRun {
public:
    explicit TrashRun(Options options);

protected:
    Outcome work() override;
};
