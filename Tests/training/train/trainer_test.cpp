// Training as a whole: it learns, an interrupted run ends where an uninterrupted one does, and what recipes ask for.
#include "train_fixture.h"
#include "training/train/training_run.h"

#include "platform/words.h"

#include <cstring>

namespace {

struct TrainerTest : TrainFixture {
    TrainingSet set = make_training_set(records(1900), 0.3, 100, team);
    TrainingState state;

    std::string read(const std::string& text, TrainingPlan& plan) const {
        return read_recipe(folder.write("recipe.txt", text), plan);
    }
    TrainingPlan small_plan(const std::string& output) const {
        TrainingPlan plan;
        plan.epochs = 3;
        read("hidden=96\nbatch=256\ndecay=0.01\nwarm_up=4\nreport=3\noutput=" + folder.name(output), plan);
        return plan;
    }
    std::string go_on(const TrainingPlan& plan) { return start_state(plan, TrainingStart::CHECKPOINT, set, state); }
};

TEST_F(TrainerTest, a_small_data_set_is_learnt_by_heart) {
    state = make_training_state(128);
    randomise(state.model, 1);
    fill_work(300);
    EXPECT_GT(evaluate_batch(state.model, work, team), 0.05);
    for (int i = 0; i < 400; ++i) train_batch(state, work, {Loss::SQUARED, true, 0.004, 0}, team);
    EXPECT_LT(evaluate_batch(state.model, work, team), 0.0001);
}

// The one run has one thread. The other has three, and is stopped four times to go on from its checkpoint.
TEST_F(TrainerTest, a_resumed_run_equals_an_uninterrupted_one_bit_for_bit) {
    TrainingState expected;
    const TrainingPlan whole = small_plan("whole.nn"), parts = small_plan("parts.nn");
    const std::string printed = quietly([&] {
        ASSERT_EQ("", start_state(whole, TrainingStart::RANDOM, set, expected));
        ASSERT_TRUE(train_epochs(whole, set, expected, team, [] { return false; }));
        ThreadTeam three(3);
        ASSERT_EQ("", start_state(parts, TrainingStart::RANDOM, set, state));
        const int at_the_end = 0;
        for (const int stop_after : {2, 3, at_the_end, 100}) {  // within the first epoch, the second, at its end, never
            int steps = 0;
            ASSERT_TRUE(train_epochs(parts, set, state, three, [&] {
                return stop_after == at_the_end ? state.epoch_step == 0 : ++steps == stop_after;
            }));
            state = TrainingState();
            ASSERT_EQ("", go_on(parts));
        }
    });
    int stops = 0;
    const std::string stopped = "stopped; " + checkpoint_name(parts) + " written\n";
    for (std::size_t at = 0; (at = printed.find(stopped, at)) != std::string::npos; ++at) ++stops;
    EXPECT_EQ(std::tuple(3, 3, expected.step), std::tuple(stops, state.epoch, state.step));
    const auto bytes = [](const AlignedArray<float>& a) { return std::as_bytes(std::span(a.data(), a.size())); };
    const auto same = [&](const AlignedArray<float>& a, const AlignedArray<float>& b) {
        return std::ranges::equal(bytes(a), bytes(b));
    };
    EXPECT_TRUE(same(expected.model.parameter, state.model.parameter));
    EXPECT_TRUE(same(expected.first_moment, state.first_moment) && same(expected.second_moment, state.second_moment));
}

TEST_F(TrainerTest, checkpoints_of_other_runs_and_damaged_ones_are_refused) {
    const TrainingPlan plan = small_plan("run.nn");
    EXPECT_NE("", go_on(plan)) << "there is none";
    quietly([&] {
        start_state(plan, TrainingStart::RANDOM, set, state);
        train_epochs(plan, set, state, team, [] { return true; });  // stops after a step
    });
    ASSERT_EQ("", go_on(plan));
    TrainingPlan other[] = {plan, plan, plan};
    other[0].batch = 128;
    other[1].hidden = 64;
    other[2].seed = 5;
    for (const TrainingPlan& another : other) EXPECT_NE("", go_on(another));
    std::filesystem::resize_file(checkpoint_name(plan), 1000);
    EXPECT_NE("", go_on(plan)) << "cut off";
    folder.write("run.nn.checkpoint", std::string(100, 'x'));
    EXPECT_NE("", go_on(plan)) << "something else";
}

TEST_F(TrainerTest, recipes_set_what_they_name_and_faults_are_named) {
    TrainingPlan plan;
    ASSERT_EQ("", read("# a recipe\r\ndata = a.bin\r\n data=b c.bin  # two\n\nrate = 0.01\nloss = cross_entropy\n"
                       "shared = 0\nfinal_rate=0.1\nwarm_up = 10\noutput = x.nn\nhidden = 100\nyardstick=y.bin\n",
                       plan));
    EXPECT_EQ((std::vector<std::string>{"a.bin", "b c.bin"}), plan.data);
    EXPECT_EQ(std::tuple("x.nn", "y.bin", Loss::CROSS_ENTROPY, false, 0.35),
              std::tuple(plan.output, plan.yardstick, plan.loss, plan.shared_rows, plan.result_share));
    EXPECT_EQ(112, plan.hidden);  // whole blocks of 16
    // The learning rate a tenth of the way up, in the middle of the cosine, at its end and beyond.
    const std::pair<int, double> rates[] = {{0, 0.001}, {500, 0.0055}, {1000, 0.001}, {2000, 0.001}};
    for (const auto& [step, rate] : rates) EXPECT_NEAR(rate, learning_rate_at(plan, step, 1000), 1e-9) << step;

    for (const char* share : {"0", "1", "0.25"}) EXPECT_EQ("", read(std::string("result_share = ") + share, plan));
    EXPECT_EQ(0.25, plan.result_share);
    for (const char* fault : {"batsch = 1\n", "batch 1\n", "result_share = 1.01", "result_share = -0.1",
                              "result_share = half", "result_share = nan", "result_share ="}) {
        const std::string name(fault, std::strcspn(fault, " "));
        EXPECT_NE(std::string::npos, read(fault, plan).find(name, folder.name("recipe.txt").size())) << fault;
    }
    EXPECT_NE("", read_recipe(folder.name("none.txt"), plan));
}

// With results alone the targets of games are 0, a half and 1; with scores alone both held-out losses are one.
TEST_F(TrainerTest, the_result_share_moves_the_targets) {
    for (const auto& [share, least, most] : {std::tuple(1.0, 60, 150), {0.35, 0, 30}}) {
        fill_work(200, share);
        const auto is_result = [](const Features& f) { return std::abs(std::remainder(f.target, 0.5f)) < 1e-5f; };
        const auto found = std::ranges::count_if(work.batch.position, is_result);
        EXPECT_TRUE(found >= least && found <= most) << share << ' ' << found;
    }
    TrainingPlan plan = small_plan("scores.nn");
    plan.result_share = 0;
    plan.epochs = 1;
    ASSERT_EQ("", start_state(plan, TrainingStart::RANDOM, set, state));
    const std::string report = quietly([&] { train_epochs(plan, set, state, team, [] { return false; }); });
    const std::string loss = report.substr(report.find("loss ") + 5, 9);
    EXPECT_NE(std::string::npos, report.find(loss + ", against the search score alone " + loss)) << report;
}

// The expected figures were computed by another program, from the network file and the records alone.
TEST_F(TrainerTest, a_recipe_without_data_measures_networks) {
    TrainingRequest request;
    const std::string recipe = "yardstick = " + data_file("training/yardstick.bin");
    copy_text(request.file, folder.write("recipe.txt", recipe));
    EXPECT_EQ(
        "info string loaded embedded network\n"
        "yardstick: 0.005916 against the scores of 15189 positions\n"
        "yardstick: 0.06225 against the results of 6753 of them, at the best scale of 0.00528 a centipawn\n",
        quietly([&] { EXPECT_EQ(0, run_training(request)); }));
}

}  // namespace
