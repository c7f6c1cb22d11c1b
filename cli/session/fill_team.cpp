#include "session/fill_team.h"

#include <atomic>
#include <system_error>
#include <thread>

namespace elfload {

struct FillTeam::Member {
  std::unique_ptr<ObjFileLoader> ownLoader;  // null for the first, which has the session's
  ModuleTable ownTable;
  ObjFileLoader* loader = nullptr;
  SymbolTable* table = &ownTable;
  std::vector<DescModule*> modules;
  bool allFilled = true;
};

FillTeam::FillTeam(Session& session, const Options& options, size_t size) : session_(session), options_(options) {
  for (size_t i = 0; i < size; i++) members_.push_back(std::make_unique<Member>());
  members_[0]->loader = session.Loader();
  members_[0]->table = &session.Table();
  members_[0]->modules = session.Modules();
}

FillTeam::~FillTeam() = default;

// Opens and builds the file once more. False when that is not the file that the session has: the others do the work.
bool FillTeam::Join(Member& member) {
  std::string error;
  member.ownLoader = LoadComponent(options_.plugin, error);
  member.loader = member.ownLoader.get();
  if (member.loader == nullptr || member.loader->Open(options_.file.c_str()) == 0) return false;
  if (member.loader->Build(member.table) == 0) return false;
  for (DescModule* module = member.table->Modules(); module != nullptr; module = module->next) {
    member.modules.push_back(module);
  }
  // What the session's list lacks this one may lack too, but nothing for a reason of its own, such as memory.
  return member.modules.size() == session_.Modules().size() && ReadFailure(*member.loader) == session_.BuildFailure();
}

void FillTeam::RunMember(size_t worker, const std::vector<size_t>& units, UnitOrder& order, const Work& work) {
  HostMessages& messages = session_.Host();
  HeldMessages said;
  try {
    messages.HoldThread(&said);
    Member& member = *members_[worker];
    if (worker == 0 || Join(member)) {
      said = {};  // the session's loader has said it
      size_t position = 0;
      while (order.Take(position)) {
        DescModule* module = member.modules[units[position]];
        const FillResult result = FillUnit(*member.loader, *member.table, module);
        member.allFilled = member.allFilled && result.extended != 0;
        order.Begin(position, {std::move(said), result.failure});
        said = {};
        work(worker, {position, units[position], module, result.extended, result.failure}, order);
        order.End(position);
      }
    }
  } catch (...) {
    order.Stop(std::current_exception());
  }
  messages.HoldThread(nullptr);
}

bool FillTeam::Run(const std::vector<size_t>& units, Output* out, const Work& work) {
  UnitOrder order(units.size(), out, [this](const UnitNews& news) { session_.Tell(news.messages, news.failure); });
  std::vector<std::thread> threads;
  try {
    for (size_t worker = 1; worker < members_.size(); worker++) {
      threads.emplace_back([&, worker] { RunMember(worker, units, order, work); });
    }
  } catch (const std::system_error&) {
    // With fewer threads it takes longer.
  } catch (...) {
    order.Stop(std::current_exception());
  }
  RunMember(0, units, order, work);
  for (std::thread& thread : threads) thread.join();
  order.Check();
  bool allFilled = true;
  for (const auto& member : members_) allFilled = allFilled && member->allFilled;
  return allFilled;
}

}  // namespace elfload
