#pragma once

// Sets `member` to `value` and says whether that changed it: the first half of every setter
// that announces its change.
template <typename T> bool replaceValue(T &member, const T &value)
{
    if (member == value)
        return false;
    member = value;
    return true;
}
