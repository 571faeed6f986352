// One process-wide instance of T, made on first use and destroyed at exit.
// Threading: the first call to ref() is safe from any thread (the runtime's
// one-time-initialisation guard); what T itself allows is up to T.
#ifndef CORELIB_UTILITIES_STATICSINGLETON_H
#define CORELIB_UTILITIES_STATICSINGLETON_H

namespace Core
{
namespace Patterns
{

// One process-wide instance of T, made on first use and destroyed at exit.
template <class T>
class StaticSingleton
{
public:
    // The instance: a function-local static built by T's default constructor on
    // the first call, destroyed with the other statics when the process exits.
    static T& ref()
    {
        static T instance;
        return instance;
    }

    StaticSingleton() = delete;
};

} // namespace Patterns
} // namespace Core

#endif
