// A module with no code of ours worth exporting, built with the plugin's
// flags: whatever it exports, the build flavour added (a coverage runtime,
// say). One function, so that instrumentation has something to work on.
int referenceModuleFunction(int value)
{
    return value + 1;
}
