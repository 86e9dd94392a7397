#include "tests/hard/crowd/Crowd.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>

#include <gtest/gtest.h>

#include "foundation/IPC.h"
#include "tests/hard/kills/LinkedRecord.h"
#include "tests/support/Bytes.h"
#include "tests/support/Files.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned int kParams = 3;
constexpr int kEditsPerLook = 4;
constexpr int kEditsPerLoad = 20;
constexpr unsigned int kPause = 2000;  // Between two looks at the file, in microseconds.
constexpr int kLooksUntilStuck = 250;
constexpr auto kLimit = std::chrono::seconds(200);
constexpr auto kFullLimit = std::chrono::seconds(800);

}  // namespace

Crowd::Crowd(int seats) : m_seats(seats), m_states(KnownStates()) {
  for (int seat = 0; seat < m_seats; ++seat) {
    for (int number = 0; number < kNames; ++number) {
      WriteFile(Name(seat, number), "");
    }
  }
}

// Every second one is a record as Add makes it.
std::string Crowd::Name(int seat, int number) const {
  return m_folder / ((number % 2 == 0 ? "plain-" : "linked-") + std::to_string(seat) + "-" +
                     std::to_string(number));
}

FileStates Crowd::KnownStates() const {
  std::list<std::string> records;
  for (int seat = 0; seat < m_seats; ++seat) {
    for (int number = 0; number < kNames; ++number) {
      for (unsigned int param = 0; param < (number % 2 == 0 ? 1 : kParams); ++param) {
        records.push_back(LinkedBytes(Name(seat, number), param));
      }
    }
  }
  return FileStates(records);
}

void Crowd::Edit(int seat, ContainerInfoList& list, int edits, bool mayLoad) {
  Seat& own = m_board->seats[seat];
  int const underWay = own.underWay;
  if (underWay >= 0) {  // Whoever sat here was killed over it.
    own.isThere[underWay] = list.FindRecord(Name(seat, underWay).c_str(), true) != nullptr;
  }
  std::mt19937 random(static_cast<unsigned int>(seat * 1000003 + own.edits));
  for (int done = 0; done < edits && !m_board->stop; ++done) {
    int const number = static_cast<int>(random() % kNames);
    own.underWay = number;
    EditOne(own, Name(seat, number), number, static_cast<unsigned int>(random() % kParams), list);
    own.underWay = -1;
    ++own.edits;
    if (mayLoad && done % kEditsPerLoad == 0) {
      list.Load(nullptr);
    }
    if (done % kEditsPerLook == 0) {
      LookForTornOnes(list);
    }
  }
}

void Crowd::EditOne(Seat& seat, std::string const& name, int number, unsigned int param,
                    ContainerInfoList& list) {
  bool const isThere = list.FindRecord(name.c_str(), true) != nullptr;
  seat.lost += seat.isThere[number] && !isThere ? 1 : 0;
  seat.returned += !seat.isThere[number] && isThere ? 1 : 0;
  if (isThere) {
    list.Erase(name.c_str());
  } else if (number % 2 == 0) {
    list.Add(name.c_str());
  } else {
    // As Add does it, with a record that has more in it.
    IPC::CWriteLocker const locker(list.GetSyncList()->Lock);
    list.GetSyncList()->Records.push_back(LinkedRecord(name, param));
    list.Save(false);
  }
  seat.isThere[number] = !isThere;
}

void Crowd::LookForTornOnes(ContainerInfoList& list) {
  IPC::CReadLocker const locker(list.GetSyncList()->Lock);
  ++m_board->looks;
  // The walk is this thread's own, the lock keeps the others from changing what it walks over.
  std::size_t walked = 0;
  for (char const* path = list.GetFirst(); path != nullptr; path = list.GetNext()) {
    ++walked;
  }
  EXPECT_EQ(list.GetSyncList()->Records.size(), walked);
  for (ContainerInfo const& record : list.GetSyncList()->Records) {
    if (!IsLinked(record)) {
      ++m_board->torn;
      ContainerInfo copy(record);
      std::fprintf(stderr, "torn: %s, %u: %s\nthe file now: %s\n",
                   static_cast<char const*>(record.Path), record.Param,
                   ToHex(DataOf(copy.WriteData())).c_str(), ToHex(ReadFile(m_file)).c_str());
    }
  }
}

pid_t Crowd::Start(std::function<void()> const& body) const {
  std::fflush(nullptr);
  pid_t const process = ::fork();
  if (process != 0) {
    return process;
  }
  int status = 1;
  try {
    body();
    status = testing::Test::HasFailure() ? 1 : 0;
  } catch (std::exception const& error) {
    std::fprintf(stderr, "one of the crowd: %s\n", error.what());
  } catch (...) {
    std::fprintf(stderr, "one of the crowd: an exception of its own kind\n");
  }
  std::fflush(nullptr);
  ::_exit(status);
}

bool Crowd::Await(std::list<pid_t> processes) {
  auto const end = Clock::now() + (IsFull() ? kFullLimit : kLimit);
  bool isWell = true;
  while (!processes.empty()) {
    bool const isLate = Clock::now() > end;
    for (auto process = processes.begin(); process != processes.end();) {
      if (isLate) {
        std::fprintf(stderr, "process %d hangs\n", *process);
        ::kill(*process, SIGKILL);
      }
      int status = 0;
      if (::waitpid(*process, &status, isLate ? 0 : WNOHANG) == 0) {
        ++process;
        continue;
      }
      isWell = isWell && !isLate && WIFEXITED(status) && WEXITSTATUS(status) == 0;
      process = processes.erase(process);
    }
    LookAtFile();
    ::usleep(kPause);
  }
  return isWell;
}

void Crowd::Watch(int milliseconds) {
  auto const end = Clock::now() + std::chrono::milliseconds(milliseconds);
  while (Clock::now() < end) {
    LookAtFile();
    ::usleep(kPause);
  }
}

void Crowd::LookAtFile() {
  std::string content;
  std::string state = "missing";
  if (IsThere(m_file)) {
    content = ReadFile(m_file);
    state = m_states.Explain(content);
  }
  ++m_seen[state];
  m_unchanged = content == m_content ? m_unchanged + 1 : 0;
  m_content = content;
  if (m_unchanged == kLooksUntilStuck) {
    FreeIfStuck();
  }
}

// A file that holds a record which cannot be decoded stays as it is, since no save gets past it:
// its owner has to take it away.
void Crowd::FreeIfStuck() {
  m_unchanged = 0;
  if (!m_content.empty() && ContainerInfoList(m_file.c_str()).GetFirst() == nullptr) {
    ++m_stuck;
    WriteFile(m_file, "");
  }
}

void Crowd::Report(std::string const& name) {
  std::string const last =
      IsThere(m_file) ? m_states.Explain(ReadFile(m_file)) : std::string("missing");
  ContainerInfoList list(m_file.c_str());
  LookForTornOnes(list);
  int edits = 0;
  int lost = 0;
  int returned = 0;
  for (int place = 0; place < m_seats; ++place) {
    Seat const& seat = m_board->seats[place];
    edits += seat.edits;
    lost += seat.lost;
    returned += seat.returned;
    for (int number = 0; number < kNames; ++number) {
      bool const isThere = list.FindRecord(Name(place, number).c_str(), true) != nullptr;
      lost += seat.isThere[number] && !isThere ? 1 : 0;
      returned += !seat.isThere[number] && isThere ? 1 : 0;
    }
  }
  Figure(name + ": " + std::to_string(edits) + " edits, " + std::to_string(lost) +
         " additions lost, " + std::to_string(returned) + " erasures undone, " +
         std::to_string(m_stuck) + " times stuck; " + std::to_string(m_board->looks) +
         " lists looked through, " + std::to_string(m_board->torn) +
         " torn records; the file as seen meanwhile: " + Listed(m_seen) + "; at the end: " + last);
  // Torn records are counted like what is lost: a save appends to what another one may just be
  // emptying or writing.
  EXPECT_EQ(0, m_seen["unexplained"]);
  EXPECT_NE("unexplained", last);
}
