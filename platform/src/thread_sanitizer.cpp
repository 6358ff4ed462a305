// Part of every program in a build with the thread sanitizer, which asks for its options by these names.
//
// Debian's Boost.Log is not instrumented: the sanitizer does not see it count the references of a record's
// values, and takes the release of the last one for a race with readers that had released theirs before.

// NOLINTBEGIN(bugprone-reserved-identifier)
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_options();
extern "C" __attribute__((visibility("default"))) const char* __tsan_default_suppressions();

extern "C" const char* __tsan_default_options()
{
    return "ignore_noninstrumented_modules=1";
}

extern "C" const char* __tsan_default_suppressions()
{
    return "race_top:boost::log::v2_mt_posix::attribute_value::impl::~impl\n";
}
// NOLINTEND(bugprone-reserved-identifier)
