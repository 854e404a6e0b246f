#include <windows.h>

#include <map>
#include <mutex>
#include <string>
#include <utility>

// Window classes, by module and name. One table a process, any thread.

namespace {

struct RegisteredClass {
    WNDCLASS record;
    std::string name;
    ATOM atom;
};

struct ClassTable {
    std::mutex lock;
    std::map<std::pair<uintptr_t, std::string>, RegisteredClass> classes;
    ATOM nextAtom = 0xC000; // where the system's own string atoms begin
};

ClassTable &classTable() {
    static ClassTable table;
    return table;
}

std::pair<uintptr_t, std::string> classKey(HINSTANCE instance, const char *name) {
    return {reinterpret_cast<uintptr_t>(instance), name};
}

} // namespace

ATOM RegisterClass(const WNDCLASS *windowClass) {
    if (!windowClass || !windowClass->lpszClassName || !windowClass->lpfnWndProc)
        return 0;
    ClassTable &table = classTable();
    std::scoped_lock scope(table.lock);
    const auto [place, isNew] = table.classes.try_emplace(
        classKey(windowClass->hInstance, windowClass->lpszClassName),
        RegisteredClass{*windowClass, windowClass->lpszClassName, table.nextAtom});
    if (!isNew)
        return 0;
    place->second.record.lpszClassName = place->second.name.c_str();
    return table.nextAtom++;
}

BOOL UnregisterClass(const char *className, HINSTANCE instance) {
    if (!className)
        return FALSE;
    ClassTable &table = classTable();
    std::scoped_lock scope(table.lock);
    return table.classes.erase(classKey(instance, className)) == 1;
}

BOOL GetClassInfo(HINSTANCE instance, const char *className, WNDCLASS *out) {
    if (!className || !out)
        return FALSE;
    ClassTable &table = classTable();
    std::scoped_lock scope(table.lock);
    const auto found = table.classes.find(classKey(instance, className));
    if (found == table.classes.end())
        return FALSE;
    *out = found->second.record;
    return TRUE;
}

HCURSOR LoadCursor(HINSTANCE, const char *name) {
    // Stock cursors are told apart by their number alone.
    return reinterpret_cast<HCURSOR>(const_cast<char *>(name));
}
