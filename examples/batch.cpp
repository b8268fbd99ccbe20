// Measures all photographs of a folder, a process per core. Each image has a process of its own: one that cannot be
// measured, even one that ends its process, costs no other image. All parts go into one table, image by image in the
// order of their names, however many processes there are.

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "command_line.h"
#include "measure_parts.h"
#include "part_report.h"
#include "png_file.h"
#include "zeb/zeb.h"

namespace {

namespace fs = std::filesystem;

struct Options {
  std::string folder;
  std::string csv_file = "batch.csv";
  std::string pictures;
  unsigned processes = static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
  unsigned time_limit = 60;  // seconds
  example::MeasuringOptions measuring;
};

/// An image and what came of it.
struct Job {
  fs::path image;
  bool done = false;
  std::vector<double> values;  // the parts' values, column by column, one part after the other
  std::string error;           // why there are none
};

/// A process at work on an image, which sends its answer through a pipe.
struct Worker {
  Job* job;
  pid_t process;
  int answers;
  std::string answer;
};

enum ExitCode { all_measured = 0, some_failed = 1 };  // 2, as ever, where nothing could be done
// What a worker's exit code says about its answer. Others, such as a memory checker's 1, say nothing.
enum WorkerCode { answer_is_values = 0, answer_is_error = 3 };

std::vector<Job> images_in(const std::string& folder) {
  std::error_code problem;
  fs::directory_iterator entries(folder, problem);
  if (problem) throw std::runtime_error(folder + ": " + problem.message() + "; give a folder with PNG images");
  std::vector<Job> jobs;
  for (const fs::directory_entry& entry : entries) {
    std::string ending = entry.path().extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), [](unsigned char c) { return std::tolower(c); });
    if (ending == ".png" && !entry.is_directory()) jobs.push_back({entry.path(), false, {}, {}});
  }
  if (jobs.empty()) throw std::runtime_error(folder + ": holds no PNG images; give a folder that does");
  std::sort(jobs.begin(), jobs.end(), [](const Job& a, const Job& b) { return a.image < b.image; });
  return jobs;
}

/// What a worker does: the values of all parts as bytes.
std::string measure(const fs::path& image, const Options& options) {
  const zeb::um pixel_size(options.measuring.pixel_size);
  const zeb::Image<unsigned char> photograph = example::read_png(image.string(), {pixel_size, pixel_size});
  const example::Measurement result = example::measure_parts(photograph, options.measuring);
  if (result.parts.empty()) throw std::runtime_error("no part was found");
  if (!options.pictures.empty())
    example::draw_parts((fs::path(options.pictures) / image.filename()).string(), photograph, result.parts);

  std::string bytes;
  for (const example::Part& part : result.parts) {
    const std::vector<double> values = values_of(part, columns_of(options.measuring));
    bytes.append(reinterpret_cast<const char*>(values.data()), values.size() * sizeof(double));
  }
  return bytes;
}

[[noreturn]] void work(const fs::path& image, const Options& options, int pipe_end) {
  alarm(options.time_limit);
  int code = answer_is_values;
  std::string answer;
  try {
    answer = measure(image, options);
  } catch (const std::exception& error) {
    answer = error.what();
    code = answer_is_error;
    // The table names the image in a column of its own.
    const std::string name = image.string() + ": ";
    if (answer.compare(0, name.size(), name) == 0) answer.erase(0, name.size());
  }
  for (std::size_t sent = 0; sent < answer.size();) {
    const ssize_t count = write(pipe_end, answer.data() + sent, answer.size() - sent);
    if (count < 0) _exit(EXIT_FAILURE);
    sent += static_cast<std::size_t>(count);
  }
  _exit(code);  // without touching what the parent has opened
}

Worker start(Job& job, const Options& options) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0)
    throw std::runtime_error(std::string("no pipe: ") + std::strerror(errno) + "; lower --processes");
  const pid_t process = fork();
  if (process < 0) throw std::runtime_error(std::string("no process: ") + std::strerror(errno) + "; lower --processes");
  if (process == 0) {
    close(ends[0]);
    work(job.image, options, ends[1]);
  }
  close(ends[1]);
  return {&job, process, ends[0], {}};
}

/// Takes what a worker sent; false once that is all.
bool receive(Worker& worker) {
  char buffer[4096];
  const ssize_t count = read(worker.answers, buffer, sizeof buffer);
  if (count < 0 && errno == EINTR) return true;
  if (count > 0) worker.answer.append(buffer, static_cast<std::size_t>(count));
  return count > 0;
}

/// Notes the answer of a worker that has sent all of it.
void finish(const Worker& worker, const Options& options) {
  close(worker.answers);
  int status = 0;
  while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
  }
  Job& job = *worker.job;
  job.done = true;
  if (WIFEXITED(status) && WEXITSTATUS(status) == answer_is_values) {
    job.values.resize(worker.answer.size() / sizeof(double));
    std::memcpy(job.values.data(), worker.answer.data(), worker.answer.size());
  } else if (WIFEXITED(status) && WEXITSTATUS(status) == answer_is_error) {
    job.error = worker.answer;
  } else if (WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM) {
    job.error = "took more than " + std::to_string(options.time_limit) + " s; raise --time-limit";
  } else if (WIFSIGNALED(status)) {
    job.error = std::string("ended its process (") + strsignal(WTERMSIG(status)) + ")";
  } else {
    job.error = "ended its process (exit code " + std::to_string(WEXITSTATUS(status)) + ")";
  }
}

std::string quoted(const std::string& text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"') result += c;
    result += c;
  }
  return result + '"';
}

void write_rows(std::ostream& csv, const Job& job, const Options& options) {
  const std::vector<example::Column> columns = columns_of(options.measuring);
  const std::string image = quoted(job.image.filename().string());
  if (!job.error.empty()) {
    const std::string heading = csv_heading(columns);
    const auto empty_fields = static_cast<std::size_t>(std::count(heading.begin(), heading.end(), ',')) + 1;
    csv << image << ',' << std::string(empty_fields, ',') << ',' << quoted(job.error) << '\n';
  }
  int number = 0;
  for (auto part = job.values.begin(); part != job.values.end(); part += static_cast<std::ptrdiff_t>(columns.size()))
    csv << image << ',' << ++number << ','
        << csv_values({part, part + static_cast<std::ptrdiff_t>(columns.size())}, columns, options.measuring.pixel_size)
        << ",\n";
  csv.flush();
}

void show_progress(std::size_t done, std::size_t all) {
  constexpr std::size_t width = 40;
  const std::size_t filled = width * done / all;
  std::fprintf(stderr, "\r[%s%s] %zu of %zu%s", std::string(filled, '#').c_str(),
               std::string(width - filled, '.').c_str(), done, all, done == all ? "\n" : "");
}

/// Measures all images, `options.processes` at a time. The rows of an image are written as soon as all before it are.
void run(std::vector<Job>& jobs, const Options& options, std::ostream& csv) {
  const bool on_terminal = isatty(STDERR_FILENO) != 0;
  std::vector<Worker> workers;
  std::size_t started = 0, finished = 0, written = 0;
  if (on_terminal) show_progress(0, jobs.size());
  while (finished < jobs.size()) {
    while (started < jobs.size() && workers.size() < options.processes)
      workers.push_back(start(jobs[started++], options));
    std::vector<pollfd> pipes;
    pipes.reserve(workers.size());
    for (const Worker& worker : workers) pipes.push_back({worker.answers, POLLIN, 0});
    if (poll(pipes.data(), pipes.size(), -1) < 0) continue;  // interrupted
    for (std::size_t i = workers.size(); i-- > 0;) {
      if (pipes[i].revents == 0 || receive(workers[i])) continue;
      finish(workers[i], options);
      workers.erase(workers.begin() + static_cast<std::ptrdiff_t>(i));
      ++finished;
      if (on_terminal) show_progress(finished, jobs.size());
    }
    while (written < jobs.size() && jobs[written].done) write_rows(csv, jobs[written++], options);
  }
}

/// Counts, the spread of the diameters, and each image that failed with its reason. Returns the exit code.
int summarise(const std::vector<Job>& jobs, const Options& options, double seconds) {
  const std::vector<example::Column> columns = columns_of(options.measuring);
  const auto diameter = static_cast<std::size_t>(
      std::find_if(columns.begin(), columns.end(), [](const example::Column& c) { return c.name == "diameter"; }) -
      columns.begin());
  std::vector<double> diameters;
  std::size_t failed = 0;
  for (const Job& job : jobs) {
    if (!job.error.empty()) ++failed;
    for (std::size_t i = diameter; i < job.values.size(); i += columns.size())
      diameters.push_back(in_micrometres(job.values[i], columns[diameter], options.measuring.pixel_size));
  }
  std::printf("%zu images in %.2f s, %u at a time: %zu measured, %zu failed\n", jobs.size(), seconds, options.processes,
              jobs.size() - failed, failed);
  if (!diameters.empty()) {
    double sum = 0, squares = 0;
    for (const double d : diameters) sum += d;
    const double mean = sum / static_cast<double>(diameters.size());
    for (const double d : diameters) squares += (d - mean) * (d - mean);
    const auto [least, most] = std::minmax_element(diameters.begin(), diameters.end());
    std::printf("%zu parts, diameter %.4g um on average (%.4g to %.4g, standard deviation %.3g)\n", diameters.size(),
                mean, *least, *most, std::sqrt(squares / static_cast<double>(diameters.size())));
  }
  for (const Job& job : jobs)
    if (!job.error.empty()) std::printf("failed: %s: %s\n", job.image.c_str(), job.error.c_str());
  std::printf("table in %s\n", options.csv_file.c_str());
  return failed == 0 ? all_measured : some_failed;
}

int batch(const Options& options) {
  std::vector<Job> jobs = images_in(options.folder);
  if (!options.pictures.empty()) {
    fs::create_directories(options.pictures);
    if (fs::equivalent(options.pictures, options.folder))
      throw std::runtime_error(options.pictures + ": the pictures would replace the images; choose another --pictures");
  }
  std::ofstream csv(options.csv_file);
  if (!csv) throw std::runtime_error(options.csv_file + ": cannot be written; choose another --csv");
  csv << "image,number," << csv_heading(columns_of(options.measuring)) << ",error\n" << std::flush;

  const auto begin = std::chrono::steady_clock::now();
  run(jobs, options, csv);
  const std::chrono::duration<double> time = std::chrono::steady_clock::now() - begin;
  if (!csv) throw std::runtime_error(options.csv_file + ": could not be written to its end; make room on the disk");
  return summarise(jobs, options, time.count());
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  CLI::App app("Measures the parts in all PNG images of a folder, as inspect does in one.", "batch");
  app.footer(
      "Exit code: 0 if all images were measured, 1 if some failed (the table names them), 2 if nothing was done.");
  app.add_option("folder", options.folder, "folder with 8-bit grey PNG images")->required();
  app.add_option("-o,--csv", options.csv_file, "table to write")->capture_default_str();
  app.add_option("--pictures", options.pictures, "folder to draw the parts over the images in");
  app.add_option("--processes", options.processes, "images at a time")
      ->check(CLI::Range(1u, 1024u))
      ->capture_default_str();
  app.add_option("--time-limit", options.time_limit, "seconds for an image")
      ->check(CLI::Range(1u, 86400u))
      ->capture_default_str();
  example::add_measuring_options(app, options.measuring);
  int code = all_measured;
  const int failure = example::run(app, argc, argv, [&] { code = batch(options); });
  return failure != 0 ? failure : code;
}
