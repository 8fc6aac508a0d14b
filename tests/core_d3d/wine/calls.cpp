#include "calls.h"

#include <map>
#include <utility>

namespace {

std::vector<std::string> lines;
std::map<std::string, HRESULT> refused;
std::map<const void*, std::string> prefixes;
int pauses = 0;

} // namespace

std::vector<std::string> Calls::take() { return std::exchange(lines, {}); }

int Calls::count(const std::string& start)
{
    int found = 0;
    for (const std::string& line : lines)
        found += line.compare(0, start.size(), start) == 0;
    return found;
}

void Calls::refuse(const std::string& name, HRESULT result) { refused[name] = result; }

void Calls::refuseNothing() { refused.clear(); }

void Calls::mark(const void* object, const std::string& prefix) { prefixes[object] = prefix; }

bool Calls::enter(const void* object, const std::string& name, const std::string& arguments, HRESULT* result)
{
    if (pauses)
        return false;
    const auto prefix = prefixes.find(object);
    const std::string call = (prefix == prefixes.end() ? "" : prefix->second) + name;
    lines.push_back(arguments.empty() ? call : call + " " + arguments);
    const auto refusal = refused.find(call);
    if (refusal == refused.end())
        return false;
    *result = refusal->second;
    return true;
}

Calls::Pause::Pause() { ++pauses; }

Calls::Pause::~Pause() { --pauses; }
