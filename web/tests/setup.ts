// Vitest runs each test file in a process of its own. If vitest is killed, that process runs on, and
// fills the memory with messages that nobody takes. Its end takes the browser along, which stops
// when the pipe from here closes.
process.once("disconnect", () => process.kill(process.pid, "SIGKILL"));
