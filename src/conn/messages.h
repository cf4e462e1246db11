// The catalogue of the library's texts. Applications match on their spelling and blanks, even doubled and
// trailing ones: they never change.
#pragma once

namespace tarn::message {

// Error texts kept on a handle.
inline constexpr char connect_failed[] = "[EC011]Error in build-connect Sock Failure";
inline constexpr char login_failed[] = "[EC012]Error in build-database-connect LOGIN database Failure";
inline constexpr char login_unanswered[] = "[EC0195]Error when RECIEVING ,Net Recieve Error";
inline constexpr char login_refused[] = "[EC0196]Error Can't finish build connect ,Receives K failed";
inline constexpr char insert_unread[] = "[EC004]Insert Prop NetError";
inline constexpr char count_unread[] = "[EC004]Update Prop NetError";
inline constexpr char outputs_unbound[] =
    "[EC0056]when execute sql with output params or return value need bind_params";
inline constexpr char list_connect_failed[] =
    "[EC013]Error IPS Connect database Failed,sock build failure!\n";
inline constexpr char list_login_failed[] = "[EC014]IPS LOGIN database Failure,IP is %s  \n";
inline constexpr char reconnect_failed[] = "[EC0197]Error when RECONNECT Sock Failure";
inline constexpr char relogin_failed[] = "[EC0198]Error when LOGIN database Failure";
inline constexpr char cursor_not_closed[] = "[EC027]Error :%s Close Cursor %s  \n";
inline constexpr char output_unbound[] =
    "[EC060]Error params-out type need bind, here params without bindparams "
    "inout type is out or inout \n";
inline constexpr char return_value_unbound[] = "[EC060]Error params-return value need bind, here params "
                                               "without bindparams inout type is return value \n";
inline constexpr char connection_attribute_unknown[] =
    "[EC0103]connection attribute type get error,unknown attribute type\n";
inline constexpr char connection_attribute_unsettable[] =
    "[EC0104]connection attribute type set error,un-supported attribute type\n";
inline constexpr char result_attribute_unknown[] =
    "[EC0105]result attribute type get error,unknown attribute type\n";
inline constexpr char result_too_large[] =
    "[EC080]select result-set is too large please connect to db-server";
inline constexpr char lob_position_too_large[] =
    "[EC097]Error the ReadPos set larger than max_length :%d > :%d";
inline constexpr char lob_position_negative[] = "[EC098]Error the ReadPos set error :%d";
inline constexpr char no_default_statement[] =
    "[EC023]Error Execute without a default prepare ,or you can TRN_Execute2 with a prepare_name value\n";
inline constexpr char batch_without_parameters[] = "[EC025]Error ExecuteBatch without  bindparams  \n";
inline constexpr char batch_of_query[] = "[EC026]Error ExecuteBatch can't surpport a select_sql  \n";
inline constexpr char position_out_of_range[] = "[EC051]Error invalid param NO %d out of range paramnum";
inline constexpr char position_above_count[] =
    "[EC051]Error invalid param NO : %d out of range paramnum : %d ";
inline constexpr char direction_invalid[] = "[EC052]Error invalid param type %d";
inline constexpr char direction_invalid_by_name[] = "[EC052]Error invalis param type %d"; // by name only
inline constexpr char name_not_prepared[] = "[EC053]Error invalid  param_name :%s out  of prepared ";
inline constexpr char position_invalid[] = "[EC054]Error param_no  param seq %d invalid";
inline constexpr char position_jumps[] = "[EC055]Error bindparam jump long %d invalid";
inline constexpr char batch_size_differs[] =
    "[EC057]Error ExecuteBatch with paramsbind arraysize %d  does not match ArrayCount %d \n";
inline constexpr char array_type_unsupported[] = "[EC058]Error bindparam unsurpported datatype %d invalid";
inline constexpr char values_unbound[] =
    "[EC059]Error params need values-bind, here params without bindparams-byname "
    "or bindparams-bypos  \n";
inline constexpr char statement_failed[] = "sql:%s errinfo: %s \n";

// Error texts of the calls of tarnsql_ext.h, and the words that fill them.
inline constexpr char call_cancelled[] = "[EX001]the call was cancelled";
inline constexpr char cannot_connect[] = "[EX002]cannot connect to %s port %d: %s";
inline constexpr char no_connection_in_time[] = "no connection within %d ms";
inline constexpr char login_not_accepted[] = "[EX003]%s port %d did not accept the login: %s";
inline constexpr char no_answer[] = "no answer";
inline constexpr char string_fault[] = "[EX004]connection string: %.*s%s";
inline constexpr char string_of_one_segment[] = "one segment alone sets nothing: end it with \";\"";
inline constexpr char key_unknown[] = " is no known key";
inline constexpr char segment_no_setting[] = ": no \"=\" in it";
inline constexpr char segment_too_long[] = ": 128 bytes or more in one segment";
inline constexpr char segment_with_list[] =
    "= stands inside a segment, where it would be taken for an address list";
inline constexpr char list_too_long[] = ": more than 100 addresses";
inline constexpr char value_too_long[] = ": the value is too long";
inline constexpr char value_with_quote[] = ": a quote in the value would end its clause of the login";
inline constexpr char value_with_blank[] = ": a blank in the value would end its clause of the login";
inline constexpr char value_no_address[] = ": not an IPv4 address";
inline constexpr char value_no_number[] = ": not a number";
inline constexpr char value_no_port[] = ": not a number from 1 to 65535";
inline constexpr char value_no_switch[] = ": not one of on, yes, true, off, no, false";
inline constexpr char value_no_on_off[] = ": not one of on, true, off, false";

// Commands.
inline constexpr char get_lob[] = "get lob '%.*s' offset 0 limit %s ";
inline constexpr char prepare[] = "PREPARE %s AS %s";
inline constexpr char deallocate[] = "DEALLOCATE %s ";
inline constexpr char execute[] = "? %s ";
inline constexpr char declare_for_statement[] = "DECLARE  %s CURSOR FOR %s ";
inline constexpr char cursor_of_statement[] = "%s_CUR";
inline constexpr char declare_for_query[] =
    "DECLARE %s CURSOR FOR %s "; // one blank less than for a statement
inline constexpr char open_cursor[] = "OPEN %s ;";
inline constexpr char fetch_rowset[] = "FETCH  %d  FROM  %s ";
inline constexpr char fetch_ref_cursor[] = "FETCH %d  FROM %s ";
inline constexpr char close_cursor[] = "CLOSE %s ";
inline constexpr char show_version[] = "show version";

// Lines for standard output, with the text or step that they report.
inline constexpr char print_server_error[] = "Server Error %s \n";
inline constexpr char print_server_warning[] = "Server Warning %s \n";
inline constexpr char print_server_message[] = "Server Message %s \n";
inline constexpr char print_network_error[] = "Net Error %s \n";
inline constexpr char print_count_unread[] = "Update Prop NetError  \n";
inline constexpr char print_insert_unread[] = "Insert Prop NetError  \n";
inline constexpr char print_error_in_result[] = "[EC031]Error in recv result :%s \n";
inline constexpr char print_warning_in_result[] = "[EC032]Server Warning in recv result :%s \n";
inline constexpr char print_lob_unsent[] = "send param net Error for BLOB";
inline constexpr char print_slot_beyond_capacity[] = "params bind num %d beyanged given num %d \n";
inline constexpr char print_array_type_unsupported[] = "bindparam unsurpported datatype\n";
inline constexpr char print_address_list_too_long[] = "set ips error \n";
inline constexpr char print_left_out[] = "%u more lines left out\n";

} // namespace tarn::message
