#!/usr/bin/env escript
%% The independent side of the conformance suite: Erlang/OTP asn1 compiles the
%% published CSTA modules (after adapt_modules.py) and builds, encodes, decodes
%% and compares messages.
%%   judge.escript compile SRC EBIN           compile every module of SRC to EBIN
%%   judge.escript gen EBIN COUNT SEED        random messages, "LABEL HEX" lines
%%   judge.escript check1 EBIN SENT GOT       compare Kestrel3's decode answers
%%   judge.escript check2 EBIN IN             decode and re-encode Kestrel3's messages
%% Labels are KIND:CODE:NAME; KIND is arg, res, err, rej, evt or late (operations of
%% a later edition: Kestrel3 must give them the placeholder and refuse the
%% message, without crashing).
-mode(compile).

main(["compile", Src, Ebin]) ->
    ok = filelib:ensure_dir(filename:join(Ebin, "x")),
    Fs = filelib:wildcard(filename:join(Src, "*.asn1")),
    [{ok, _} = file:copy(T, filename:join(Ebin, filename:basename(T)))
     || T <- filelib:wildcard(filename:join(Src, "*.txt"))],
    Bad = [{F, R} || F <- Fs,
                     (R = (catch asn1ct:compile(F, [ber, {outdir, Ebin}, {i, Ebin}, {i, Src}]))) =/= ok],
    [io:format(standard_error, "~s: ~p~n", [F, R]) || {F, R} <- Bad],
    halt(case Bad of [] -> 0; _ -> 1 end);
main(["gen", Ebin, Count, Seed]) ->
    setup(Ebin),
    rand:seed(exsss, {list_to_integer(Seed), 11, 285}),
    gen(list_to_integer(Count)),
    halt(0);
main(["check1", Ebin, Sent, Got]) ->
    setup(Ebin),
    halt(check1(lines(Sent), lines(Got)));
main(["check2", Ebin, In]) ->
    setup(Ebin),
    halt(check2(lines(In)));
main(_) ->
    io:format(standard_error, "usage: see the head of judge.escript~n", []),
    halt(2).

setup(Ebin) ->
    true = code:add_patha(Ebin),
    put(ebin, Ebin).

%% ---- operations -------------------------------------------------------------

%% operations.txt (written by adapt_modules.py): CODE AMOD ATYPE RMOD RTYPE.
ops() ->
    case get(ops) of
        undefined ->
            {ok, Bin} = file:read_file(filename:join(get(ebin), "operations.txt")),
            Rows = [list_to_tuple([list_to_integer(C) | [list_to_atom(X) || X <- Rest]])
                    || L <- string:split(binary_to_list(Bin), "\n", all),
                       [C | Rest] <- [string:lexemes(L, " ")], length(Rest) =:= 4],
            put(ops, Rows),
            Rows;
        Rows -> Rows
    end.

%% The operation values of the later edition, which the model does not know.
%% (The argument of 368, privateDataVersionSelection, is treated alike: the
%% model's table gives that operation a result class only.)
later(Code) ->
    (Code >= 370 andalso Code =< 377) orelse (Code >= 512 andalso Code =< 516)
        orelse (Code >= 530 andalso Code =< 541) orelse Code =:= 550 orelse Code =:= 551.

%% Event types of cSTAEventReport: {Category, Alternative, Module, Type}.
events() ->
    {ok, Bin} = file:read_file(filename:join(get(ebin), "events.txt")),
    [{list_to_atom(C), list_to_atom(A), list_to_atom(Mo), list_to_atom(T)}
     || L <- string:split(binary_to_list(Bin), "\n", all),
        [C, A, Mo, T] <- [string:lexemes(L, " ")]].

%% ---- direction 1: the judge encodes ------------------------------------------

gen(Count) ->
    Ops = ops(),
    [begin
         Kind = case later(Code) orelse Code =:= 368 of true -> late; false -> arg end,
         [emit(Kind, Code, AT, invoke(Code, value(AM, AT))) || _ <- seq(Count)]
     end || {Code, AM, AT, _, _} <- Ops, AT =/= '-'],
    [[emit(res, Code, RT, result(Code, value(RM, RT))) || _ <- seq(Count)]
     || {Code, _, _, RM, RT} <- Ops, RT =/= '-', not later(Code)],
    [emit(err, 1, 'UniversalFailure', return_error(value('CSTA-error-definition', 'UniversalFailure')))
     || _ <- seq(Count)],
    [emit(rej, 0, '-', reject()) || _ <- seq(Count)],
    EvCount = max(2, Count div 5),
    [[begin
          {ok, R} = asn1ct:value('CSTA-event-report-definitions', 'CSTAEventReportArgument', opts()),
          {_, _, EV} = value(EM, ET),
          Ev = setelement(3, R, {Cat, {Alt, EV}}),
          emit(evt, 21, list_to_atom(atom_to_list(Cat) ++ "." ++ atom_to_list(Alt)),
               invoke(21, {'CSTA-event-report-definitions', 'CSTAEventReportArgument', thin('CSTA-event-report-definitions', 'CSTAEventReportArgument', Ev)}))
      end || _ <- seq(EvCount)]
     || {Cat, Alt, EM, ET} <- events()],
    ok.

seq(N) -> lists:seq(1, N).

opts() -> [{i, get(ebin)}].

%% A random value of Mod:Type with some of its optional components left out.
value(Mod, Type) ->
    {ok, V} = asn1ct:value(Mod, Type, opts()),
    {Mod, Type, thin(Mod, Type, V)}.

%% asn1ct:value fills every optional component; leave out about a third of
%% them: any component whose absence the encoder accepts may be absent.
thin(Mod, Type, V) ->
    Paths = [P || P <- paths(V, []), rand:uniform(3) =:= 1],
    lists:foldl(fun(P, Acc) ->
                        case catch begin
                                       T = put_path(Acc, P, asn1_NOVALUE),
                                       {ok, _} = Mod:encode(Type, T),
                                       T
                                   end of
                            {'EXIT', _} -> Acc;
                            Thinner -> Thinner
                        end
                end, V, Paths).

paths(T, Rev) when is_tuple(T), tuple_size(T) > 1, is_atom(element(1, T)) ->
    lists:append([[lists:reverse([I | Rev]) | paths(element(I, T), [I | Rev])]
                  || I <- lists:seq(2, tuple_size(T))]);
paths(L, Rev) when is_list(L), L =/= [], not is_integer(hd(L)) ->
    lists:append([paths(E, [{l, I} | Rev]) || {I, E} <- lists:zip(seq(length(L)), L)]);
paths(_, _) -> [].

put_path(_, [], New) -> New;
put_path(T, [{l, I} | P], New) ->
    {A, [E | B]} = lists:split(I - 1, T),
    A ++ [put_path(E, P, New) | B];
put_path(T, [I | P], New) -> setelement(I, T, put_path(element(I, T), P, New)).

enc({Mod, Type, V}) ->
    {ok, B} = Mod:encode(Type, V),
    iolist_to_binary(B).

rose(Apdu) ->
    {ok, B} = 'ROSE-APDUs':encode('ROSEapdus', Apdu),
    iolist_to_binary(B).

invoke(Code, Arg) ->
    Linked = case rand:uniform(4) of 1 -> rand:uniform(1000) - 1; _ -> asn1_NOVALUE end,
    rose({invoke, {'Invoke', invoke_id(), Linked, Code, enc(Arg)}}).

result(Code, Res) -> rose({returnResult, {'ReturnResult', invoke_id(), {'ReturnResult_result', Code, enc(Res)}}}).

return_error(Par) -> rose({returnError, {'ReturnError', invoke_id(), 1, enc(Par)}}).

reject() ->
    Id = case rand:uniform(3) of 1 -> {absent, 'NULL'}; _ -> {present, invoke_id()} end,
    Problem = lists:nth(rand:uniform(4), [{general, rand:uniform(3) - 1}, {invoke, rand:uniform(8) - 1},
                                          {returnResult, rand:uniform(3) - 1}, {returnError, rand:uniform(5) - 1}]),
    rose({reject, {'Reject', Id, Problem}}).

invoke_id() -> rand:uniform(70000) - 1000.

emit(Kind, Code, Name, Bin) ->
    io:format("~s:~w:~s ~s~n", [Kind, Code, Name, hex(Bin)]).

hex(Bin) -> << <<(hexdigit(N))>> || <<N:4>> <= Bin >>.
hexdigit(N) when N < 10 -> $0 + N;
hexdigit(N) -> $a + N - 10.

unhex(S) -> << <<(list_to_integer([A, B], 16))>> || <<A, B>> <= list_to_binary(S) >>.

lines(File) ->
    {ok, Bin} = file:read_file(File),
    [string:lexemes(L, " ") || L <- string:split(binary_to_list(Bin), "\n", all), L =/= ""].

label(L) -> [K, C, N] = string:split(L, ":", all), {list_to_atom(K), C, N}.

%% ---- checks --------------------------------------------------------------------

%% The expected class of an operation's argument or result: the type's name
%% with '-' spelled '_'.
cls("SetVoiceAttribute" ++ Rest) -> "SetVoiveAttribute" ++ Rest;  % the model's spelling
cls(Name) -> lists:map(fun($-) -> $_; (C) -> C end, Name).

expected(arg, _, N) -> {ok, cls(N)};
expected(res, _, N) -> {ok, cls(N)};
expected(err, _, N) -> {ok, N};
expected(rej, _, _) -> {ok, "-"};
expected(evt, _, _) -> {ok, "CSTAEventReportArgument"};
expected(late, _, _) -> placeholder.

check1(Sent, Got) when length(Sent) =/= length(Got) ->
    io:format("direction 1: ~w answers for ~w messages~n", [length(Got), length(Sent)]),
    1;
check1(Sent, Got) ->
    R = [verdict1(S, G) || {S, G} <- lists:zip(Sent, Got)],
    report("direction 1 (judge encodes, Kestrel3 decodes and re-encodes)", R).

verdict1([Label, Hex], [Label, Rc, Cls, Re | Why]) ->
    {Kind, Code, Name} = label(Label),
    Ok = case expected(Kind, Code, Name) of
             {ok, Cls} -> Rc =:= "0" andalso Re =:= Hex;
             {ok, _} -> false;
             placeholder -> Rc =/= "0" andalso Cls =:= "AsnType"
         end,
    {Kind, Code, Ok, {Label, Rc, Cls, Why}}.

%% Direction 2: each message must decode with the judge's ROSE envelope and
%% the type the published modules give its operation value, and the judge's
%% re-encoding must equal Kestrel3's octets.
check2(In) ->
    Ops = ops(),
    R = [verdict2(Label, unhex(Hex), Ops) || [Label, Hex] <- In],
    report("direction 2 (Kestrel3 encodes, judge decodes and re-encodes)", R).

verdict2(Label, Bin, Ops) ->
    {Kind, Code, _} = label(Label),
    Ok = (catch begin
                    {ok, Apdu} = 'ROSE-APDUs':decode('ROSEapdus', Bin),
                    SameOpen = case open(Apdu, list_to_integer(Code), Ops) of
                                   {none, _, _} -> true;
                                   {M, T, Open} ->
                                       {ok, V} = M:decode(T, Open),
                                       {ok, B} = M:encode(T, V),
                                       iolist_to_binary(B) =:= Open
                               end,
                    SameOpen andalso rose(Apdu) =:= Bin
                end),
    {Kind, Code, Ok =:= true, {Label, reason(Ok)}}.

%% The gist of a failure: the judge's decode error, or a re-encoding that differs.
reason({'EXIT', {{badmatch, {error, {asn1, {R, _}}}}, _}}) when is_tuple(R) -> element(1, R);
reason({'EXIT', {{badmatch, {error, {asn1, {R, _}}}}, _}}) -> R;
reason({'EXIT', {R, _}}) when is_tuple(R) -> element(1, R);
reason(false) -> differs;
reason(R) -> R.

open({invoke, {'Invoke', _, _, Code, Arg}}, Code, Ops) when Arg =/= asn1_NOVALUE ->
    {Code, M, T, _, _} = lists:keyfind(Code, 1, Ops), {M, T, Arg};
open({returnResult, {'ReturnResult', _, {'ReturnResult_result', Code, Res}}}, Code, Ops) ->
    {Code, _, _, M, T} = lists:keyfind(Code, 1, Ops), {M, T, Res};
open({returnError, {'ReturnError', _, 1, Par}}, 1, _) when Par =/= asn1_NOVALUE ->
    {'CSTA-error-definition', 'UniversalFailure', Par};
open({reject, _}, _, _) -> {none, none, none}.

%% Prints messages byte-exact and operations (or other groups) passing on every
%% message, and the first failures; 0 when everything passed.
report(Title, R) ->
    Pass = length([x || {_, _, true, _} <- R]),
    Groups = lists:usort([{K, C} || {K, C, _, _} <- R, K =:= arg orelse K =:= res]),
    Codes = lists:usort([C || {_, C} <- Groups]),
    BadCodes = lists:usort([C || {K, C, false, _} <- R, K =:= arg orelse K =:= res]),
    io:format("~s: ~w of ~w messages byte-exact; operations passing on every message: ~w of ~w~n",
              [Title, Pass, length(R), length(Codes) - length(BadCodes), length(Codes)]),
    [io:format("  ~s: ~w of ~w~n", [K, length([x || {K2, _, true, _} <- R, K2 =:= K]),
                                    length([x || {K2, _, _, _} <- R, K2 =:= K])])
     || K <- lists:usort([K || {K, _, _, _} <- R])],
    Fails = [D || {_, _, false, D} <- R],
    Reasons = lists:foldl(fun({_, W}, M) -> maps:update_with(W, fun(X) -> X + 1 end, 1, M);
                             (_, M) -> M end, #{}, Fails),
    [io:format("  failures by reason: ~p~n", [Reasons]) || map_size(Reasons) > 0],
    [io:format("  FAIL ~p~n", [D]) || D <- lists:sublist(Fails, 25)],
    case Fails of [] -> 0; _ -> 1 end.
