#pragma once

#include "tav/ui/cmd/UiEvent.h"
#include "tav/ui/cmd/rtnData.h"

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace TAV {

class CmdParse;

/// The status command: seven usage forms, each a request to the resource daemon and a layout of its
/// reply, or an answer through the exit status alone.
///
/// Values are printed as the reply gives them, byte for byte. Everything printed is collected in
/// the logger's text and released in one piece. One object lives for the whole run; used by one
/// thread.
class CmdStat : public UiEvent {
public:
    explicit CmdStat(TavLogger* logger);
    ~CmdStat() override;

    /// Builds the table of usage forms; called by the constructor.
    void initArgs();
    void initPaths();
    /// The whole work: command line, request, output. USAGE when the usage text is to be shown,
    /// FAILED when the request failed or the daemon says so, otherwise DONE.
    int procArgs(CmdParse& parser);
    void showUsage() override;

    /// The request and the output of one form: 1 and 2, 3, 4, 5, 6, 7. Outcomes as procArgs.
    int getResStat();
    int getProfStat();
    int getRegStat();
    int getRunStat();
    int getFullStat();
    int getListStat();

    /// Turns the reply into records and results: DONE, or FAILED when the reply says that the
    /// request failed. What is not of the agreed shape is passed over, with one line in the
    /// diagnostic log.
    int procEngineData();
    /// Fills one record from one resource's container. Returns 0.
    int procContainerData(const Message* resource, rtnData& record);
    /// Copies every child's text into the map. Returns 0.
    int procContainerData(const Message* item, std::map<std::string, std::string>& map);
    /// Appends the reply's message numbers to the results. Returns 0.
    int procContainerData(const Message* errors);
    /// Releases the collected output, unless the request failed, and then logs the reply's messages
    /// in order. The widths are not used.
    void getExtLog(std::vector<int>& widths);

    /// The block of one resource: lines of NAME=value, and an empty line.
    void formatLongDisplay(std::string& name, rtnData& record);
    /// One line for each entry of a map of nodes.
    void displayMultipleValue(std::map<std::string, std::string>& values, const std::string& label);

    /// Fits a text to a column of exactly `width` bytes (none when it is not positive). Of a text
    /// that would leave no blank the first four bytes, "..." and as much of its end as fits stay.
    void formatDefaultString(int width, std::string& text);
    /// The rows of one resource in the table of states, one for each node.
    void formatDefaultDisplay(std::vector<int>& widths, std::string& name, rtnData& record);

    /// The row of one resource in the table of permissions.
    void formatListDisplay(std::vector<int>& widths, std::string& name, rtnData& record);
    /// Takes an access-control list apart: owner, group, and the permission triplets of owner,
    /// group and others, which are appended. What the list does not hold stays as it is.
    void formatRWXString(const std::string& acl, std::string& owner, std::string& group,
                         std::string& permissions);

    /// Name of the request.
    static constexpr char UI_STAT[] = "UI_STAT";
    static constexpr char STAT_USAGE[] =
        "Usage:  vorn_stat [resource_name [...]] [-v] [-l] [-q] [-c cluster_member]\n"
        "        vorn_stat [resource_name [...]] -t [-v] [-q] [-c cluster_member]\n"
        "        vorn_stat -p [resource_name [...]] [-q]\n"
        "        vorn_stat [-a] application -g\n"
        "        vorn_stat [-a] application -r [-c cluster_member]\n"
        "        vorn_stat -f [resource_name [...]] [-q] [-c cluster_member]\n"
        "        vorn_stat -ls [resource_name [...]] [-q]\n";

    /// The usage forms, as the table numbers them.
    enum Form : int {
        FORM_BLOCKS = 1,
        FORM_TABLE = 2,
        FORM_PROFILE = 3,
        FORM_IS_REGISTERED = 4,
        FORM_IS_RUNNING = 5,
        FORM_FULL = 6,
        FORM_PERMISSIONS = 7,
    };

    /// The reply item that sums the request up; a result under this key concerns no word.
    static constexpr char KEY_RESULT[] = "RESULT";
    /// Message numbers of a reply that mean something to the command itself.
    static constexpr int MESSAGE_REPLY_FAILED = 202;
    static constexpr int MESSAGE_ABOUT_MEMBER = 230;

protected:
    /// How a form prints its records.
    struct Layout {
        void (*print)(CmdStat&, std::vector<int>& widths, std::string& name, rtnData& record);
        std::vector<int> widths = {};
        std::string header = {}; ///< printed before the first record; with its line ends
    };
    static Layout blockLayout();
    Layout tableLayout();
    Layout permissionLayout();
    /// Appends every record, after the header if there is any record. The layout's header is
    /// given up: further records follow without one.
    void printRecords(Layout& layout);

    /// In reply order; where records are printed, those that are not printed yet.
    std::vector<std::pair<std::string, rtnData>> statRecords;
    bool longLayout = false; ///< blocks of lines rather than rows of a table
    bool verbose = false;
    std::string clusterMember; ///< the value of "-c"

private:
    void noteOption(tavArg& arg);
    int request();
    int list(Layout layout);
    int answer(int (*returnCode)(int number));
    /// As procEngineData; calls `recordMade` whenever a record has been appended, which may use
    /// the records up: a large reply then never stands in memory as records.
    int takeReply(const std::function<void()>& recordMade);
    int procResult(std::string_view text);
    bool expectContainer(const Message* message, std::string_view name);

    void printAttributes(rtnData& record);
    std::string title(int message, int width);

    std::size_t m_passedOver = 0; ///< parts of the reply that are not of the agreed shape
    std::string m_firstPassedOver;
};

} // namespace TAV
