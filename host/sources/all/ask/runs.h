// The runs of one answer, within the time that the request gives to all of them.
#ifndef GPUPROWLER_RUNS_H_
#define GPUPROWLER_RUNS_H_

#include <gpuprowler/answer.h>

#include <cstddef>
#include <vector>

namespace gpuprowler {

// On one thread.
class Runs {
 public:
  using Drivers = std::vector<std::size_t>;  // in Answer::drivers

  // Both outlive it.
  Runs(const Request& request, Answer& answer) : fRequest(request), fAnswer(answer) {}

  // Runs the prober with those drivers and all others hidden, for that many seconds at most, and adds the run
  // to the answer. It's also with those that nobody can hide, and says so. Throws std::runtime_error with a
  // sentence if none can be hidden just now, and then nothing was run.
  void Make(Drivers drivers, double seconds);

  // What is left of the request's.
  double SecondsLeft() const { return fRequest.seconds - fSeconds; }
  bool IsCancelled() const { return fRequest.cancellation && fRequest.cancellation->IsCancelled(); }

  // Of the last run: whether it was ended because its seconds were up, and not because a question's were; and
  // whether its last question, a measurement, had had at least as many by then.
  bool WasTimeUp() const { return fWasTimeUp; }
  bool WasSilent() const;

  // What all of them have found, complete or not.
  const std::vector<GPU>& GetGPUs() const { return fGPUs; }

 private:
  const Request& fRequest;
  Answer& fAnswer;
  double fSeconds = 0;
  bool fWasTimeUp = false;
  std::vector<GPU> fGPUs;
};

}  // namespace gpuprowler

#endif  // GPUPROWLER_RUNS_H_
